#include "rendering/GLVersion.h"

#include <algorithm>
#include <cctype>
#include <limits>

#include <fmt/format.h>

namespace Velmora::Rendering {

namespace {

// Reads a run of decimal digits; false when there is none or it does not fit.
bool ReadNumber(const char*& p, int32_t& value) {
    if (!std::isdigit(static_cast<unsigned char>(*p))) return false;
    int64_t v = 0;
    while (std::isdigit(static_cast<unsigned char>(*p))) {
        v = v * 10 + (*p - '0');
        if (v > std::numeric_limits<int32_t>::max()) return false;
        ++p;
    }
    value = static_cast<int32_t>(v);
    return true;
}

}  // namespace

bool ParseGLVersion(const char* text, int32_t& major, int32_t& minor) {
    major = 0;
    minor = 0;
    if (!text) return false;
    const char* p = text;
    while (*p && !std::isdigit(static_cast<unsigned char>(*p))) ++p;
    int32_t maj = 0, min = 0;
    if (!ReadNumber(p, maj) || *p != '.') return false;
    ++p;
    if (!ReadNumber(p, min)) return false;
    major = maj;
    minor = min;
    return true;
}

GLVendor DetectVendor(const std::string& vendorText) {
    std::string lower(vendorText);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (lower.find("nvidia") != std::string::npos) return GLVendor::Nvidia;
    if (lower.find("intel") != std::string::npos) return GLVendor::Intel;
    if (lower.find("ati") != std::string::npos || lower.find("amd") != std::string::npos) return GLVendor::Amd;
    return GLVendor::Unknown;
}

std::string AntiAliasingModeName(uint32_t coverageSamples, uint32_t colorSamples) {
    if (colorSamples > 1 && coverageSamples < 2) return fmt::format("{:d}xMSAA", colorSamples);
    if (colorSamples > 1 && coverageSamples >= 2)
        return fmt::format("{:d}xMSAA + {:d}xCSAA", colorSamples, coverageSamples);
    return "No AA";
}

}  // namespace Velmora::Rendering
