#include "obj/TextScan.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "util/Logger.h"

namespace Velmora::OBJ {

using Utility::Logger;
using Utility::LogLevel;

std::string_view NextLine(std::string_view text, size_t& pos) {
    const size_t start = pos;
    const size_t end = text.find('\n', start);
    if (end == std::string_view::npos) {
        pos = text.size();
        return text.substr(start);
    }
    pos = end + 1;
    return text.substr(start, end - start);
}

void LineTokens::Split(std::string_view line) {
    tokens_.clear();
    size_t i = 0;
    const size_t n = line.size();
    while (i < n) {
        while (i < n && IsSeparator(line[i])) ++i;
        if (i == n) break;
        const size_t start = i;
        while (i < n && !IsSeparator(line[i])) ++i;
        tokens_.push_back(line.substr(start, i - start));
    }
}

void LineTokens::StripComment() {
    for (size_t i = 0; i < tokens_.size(); ++i) {
        if (tokens_[i].front() == '#') {
            tokens_.resize(i);
            return;
        }
    }
}

std::string LineTokens::Joined(size_t first) const {
    std::string text;
    for (size_t i = first; i < tokens_.size(); ++i) {
        if (i > first) text += ' ';
        text.append(tokens_[i]);
    }
    return text;
}

std::string Lowered(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    return out;
}

bool EndsWithLowered(std::string_view text, std::string_view suffix) {
    if (text.size() < suffix.size()) return false;
    const std::string_view tail = text.substr(text.size() - suffix.size());
    for (size_t i = 0; i < suffix.size(); ++i) {
        char c = tail[i];
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
        if (c != suffix[i]) return false;
    }
    return true;
}

namespace {

// from_chars takes no leading plus sign, which writers do emit.
std::string_view WithoutPlus(std::string_view token) {
    if (token.size() > 1 && token.front() == '+') token.remove_prefix(1);
    return token;
}

template <typename T>
bool ParseWhole(std::string_view token, T& value) {
    token = WithoutPlus(token);
    if (token.empty()) return false;
    T parsed{};
    const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), parsed);
    if (error != std::errc() || end != token.data() + token.size()) return false;
    value = parsed;
    return true;
}

void LogBadCast(std::string_view token) {
    Logger::LogF(LogLevel::Warning, "Bad lexical cast from '{:s}' - returning 0", token);
}

}  // namespace

// Coordinates end up as floats: a value beyond their range would turn into an infinity there.
bool ParseDouble(std::string_view token, double& value) {
    double parsed = 0.0;
    if (!ParseWhole(token, parsed) || !(std::fabs(parsed) <= double(std::numeric_limits<float>::max()))) return false;
    value = parsed;
    return true;
}

bool ParseFloat(std::string_view token, float& value) {
    float parsed = 0.0f;
    if (!ParseWhole(token, parsed) || !std::isfinite(parsed)) return false;
    value = parsed;
    return true;
}

bool ParseInt(std::string_view token, int32_t& value) { return ParseWhole(token, value); }

bool ParseUnsigned(std::string_view token, uint32_t& value) { return ParseWhole(token, value); }

double DoubleOrZero(std::string_view token) {
    double value = 0.0;
    if (ParseDouble(token, value)) return value;
    LogBadCast(token);
    return 0.0;
}

float FloatOrZero(std::string_view token) {
    float value = 0.0f;
    if (ParseFloat(token, value)) return value;
    LogBadCast(token);
    return 0.0f;
}

int32_t IntOrZero(std::string_view token) {
    int32_t value = 0;
    if (ParseInt(token, value)) return value;
    LogBadCast(token);
    return 0;
}

}  // namespace Velmora::OBJ
