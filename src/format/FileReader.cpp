#include "format/FileReader.h"

#include <sys/stat.h>
#include <cstdio>
#include <new>

#include "util/Logger.h"

namespace Velmora::FormatGlue {

using Utility::Logger;
using Utility::LogLevel;

bool ReadWholeFile(const std::string& path, std::vector<uint8_t>& out) {
    out.clear();
    Logger::Log(LogLevel::Info, "Attempting to open file '%s'", path.c_str());
    struct stat info {};
    if (path.empty() || ::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        Logger::Log(LogLevel::Error, "Invalid filename or file not found!");
        return false;
    }
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        Logger::Log(LogLevel::Error, "Failed to open file '%s'", path.c_str());
        return false;
    }
    const size_t size = static_cast<size_t>(info.st_size);
    Logger::Log(LogLevel::Info, "File size = %zu", size);
    bool ok = false;
    try {
        out.resize(size);
        ok = std::fread(out.data(), 1, size, file) == size;
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
    }
    std::fclose(file);
    if (!ok) {
        Logger::Log(LogLevel::Error, "Failed to read U3D binary data for '%s'", path.c_str());
        out.clear();
        out.shrink_to_fit();
    }
    return ok;
}

}  // namespace Velmora::FormatGlue
