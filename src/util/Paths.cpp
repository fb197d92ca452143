#include "util/Paths.h"

#include <dlfcn.h>
#include <fnmatch.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <set>

#include <fmt/format.h>

#include "util/Logger.h"
#include "util/SimpleFile.h"
#include "util/Strings.h"

namespace Velmora::Utility {

namespace fs = std::filesystem;

namespace {
std::atomic<uint32_t> g_uniqueCounter{0};

fs::path ToPath(const std::string& utf8) { return fs::path(utf8); }
}  // namespace

bool Exists(const std::string& path) {
    try {
        std::error_code ec;
        return fs::status(ToPath(path), ec).type() != fs::file_type::not_found;
    } catch (...) {
        return false;
    }
}
bool Exists(const std::u16string& path) { return Exists(WideToUtf8(path)); }

bool IsRegular(const std::string& path) {
    try {
        return fs::is_regular_file(ToPath(path));
    } catch (const std::exception& e) {
        Logger::Log(LogLevel::Error, "IsRegular - exception %s", e.what());
    } catch (...) {}
    return false;
}
bool IsRegular(const std::u16string& path) { return IsRegular(WideToUtf8(path)); }

bool IsValidDirectory(const std::string& path) {
    try {
        return fs::is_directory(ToPath(path));
    } catch (const std::exception& e) {
        Logger::Log(LogLevel::Error, "IsValidDirectory filesystem_error: %s", e.what());
    } catch (...) {}
    return false;
}
bool IsValidDirectory(const std::u16string& path) { return IsValidDirectory(WideToUtf8(path)); }

bool CheckCreateDirectory(const std::string& path) {
    try {
        const fs::path p = ToPath(path);
        if (fs::is_directory(p)) return true;
        fs::create_directories(p);
        return fs::is_directory(p);
    } catch (const std::exception& e) {
        Logger::Log(LogLevel::Error, "CheckCreateDirectory filesystem_error: %s", e.what());
    } catch (...) {}
    return false;
}
bool CheckCreateDirectory(const std::u16string& path) { return CheckCreateDirectory(WideToUtf8(path)); }

std::string GetEnvironmentFolder(const std::string& name) {
    auto value = [](const char* variable) -> std::string {
        const char* v = std::getenv(variable);
        return (v != nullptr) ? std::string(v) : std::string();
    };
    if (name == "APPDATA") {
        std::string v = value("APPDATA");
        if (!v.empty()) return v;
        v = value("XDG_DATA_HOME");
        if (!v.empty()) return v;
        v = value("HOME");
        if (!v.empty()) return (fs::path(v) / ".local" / "share").string();
        return {};
    }
    return value(name.c_str());
}

std::string GetModulePath() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&GetModulePath), &info) == 0 || info.dli_fname == nullptr ||
        info.dli_fname[0] == '\0') {
        Logger::Log(LogLevel::Error, "Error returned by GetModuleFileName()");
        return {};
    }
    try {
        fs::path module(info.dli_fname);
        std::error_code ec;
        fs::path absolute = fs::weakly_canonical(module, ec);
        if (ec) absolute = fs::absolute(module, ec);
        if (ec) absolute = module;
        return absolute.parent_path().string();
    } catch (...) {
        Logger::Log(LogLevel::Error, "Error returned by GetModuleFileName()");
        return {};
    }
}

std::vector<std::string> FindFilesInFolder(const std::string& folder, const std::string& mask) {
    std::vector<std::string> patterns;
    {
        size_t start = 0;
        const char* separators = " \t\n\r";
        while (start < mask.size()) {
            size_t end = mask.find_first_of(separators, start);
            if (end == std::string::npos) end = mask.size();
            if (end > start) patterns.push_back(mask.substr(start, end - start));
            start = end + 1;
        }
        if (patterns.empty()) patterns.push_back("*");
    }
    std::set<std::string> names;
    try {
        for (const fs::directory_entry& entry : fs::directory_iterator(ToPath(folder))) {
            std::error_code ec;
            if (!entry.is_regular_file(ec)) continue;
            const std::string name = entry.path().filename().string();
            for (const std::string& pattern : patterns) {
                if (fnmatch(pattern.c_str(), name.c_str(), FNM_CASEFOLD) == 0) {
                    names.insert(name);
                    break;
                }
            }
        }
    } catch (const std::exception& e) {
        Logger::Log(LogLevel::Error, "FindFilesInFolder - exception: %s", e.what());
    } catch (...) {
        Logger::Log(LogLevel::Error, "FindFilesInFolder - unknown exception");
    }
    return std::vector<std::string>(names.begin(), names.end());
}

std::string Stem(const std::string& path) { return ToPath(path).stem().string(); }
std::string Extension(const std::string& path) { return ToPath(path).extension().string(); }
std::string ParentPath(const std::string& path) { return ToPath(path).parent_path().string(); }

std::string TimeStamp() {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char buffer[32];
    size_t n = std::strftime(buffer, sizeof(buffer), "%Y%m%d%H%M%S", &local);
    return std::string(buffer, n);
}

std::string GetUniqueFileName(const std::string& stem, const std::string& extension, const std::string& folder) {
    const uint32_t counter = g_uniqueCounter.fetch_add(1) + 1;
    std::string name = fmt::format("{:s}_{:s}_{:04d}{:s}", stem, TimeStamp(), counter, extension);
    if (folder.empty()) return name;
    return (ToPath(folder) / name).string();
}

std::string DumpFile(const std::string& path) {
    if (!Exists(path)) {
        Logger::Log(LogLevel::Error, "<DumpFile -> File '%s' does not exist>", path.c_str());
        return {};
    }
    auto file = SimpleFile::Open(path, SimpleFile::Text | SimpleFile::Read);
    if (!file) {
        Logger::Log(LogLevel::Error, "<DumpFile -> File '%s' cannot be opened>", path.c_str());
        return {};
    }
    std::vector<std::string> lines;
    file->ReadLines(&lines);
    std::string out = fmt::format("FileDump <{:s}>\n--------------------\n", path);
    for (const std::string& line : lines) out += line;
    out += "--------------------";
    return out;
}

std::string LastErrorText(int code) {
    if (code == 0) return {};
    char buffer[256];
    // GNU strerror_r: returns the message, possibly not in `buffer`.
    const char* message = strerror_r(code, buffer, sizeof(buffer));
    if (message == nullptr || message[0] == '\0') return fmt::format("Windows Error {:d}", code);
    return message;
}

std::string LastErrorText() { return LastErrorText(errno); }

}  // namespace Velmora::Utility
