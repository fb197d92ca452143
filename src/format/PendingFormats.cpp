#include "format/PendingFormats.h"

#include <cstdio>
#include <cstring>

#include "format/FormatManager.h"
#include "util/Logger.h"

namespace Velmora::FormatGlue {

using Utility::Logger;
using Utility::LogLevel;

bool PendingFormat::CanLoad(const ImportDescriptor& descriptor) {
    if (signature_.empty()) return false;
    const size_t n = signature_.size();
    if (descriptor.kind == ImportDescriptor::Memory)
        return descriptor.data && descriptor.dataSize >= n && std::memcmp(descriptor.data, signature_.data(), n) == 0;
    if (descriptor.kind != ImportDescriptor::File) return false;
    std::FILE* file = std::fopen(descriptor.path.c_str(), "rb");
    if (!file) return false;
    char head[8] = {};
    const bool read = std::fread(head, 1, n, file) == n;
    std::fclose(file);
    return read && std::memcmp(head, signature_.data(), n) == 0;
}

uint32_t PendingFormat::Load(const ImportDescriptor&) {
    Logger::Log(LogLevel::Error, "%s files cannot be read: the %s reader is not available", name_.c_str(),
                name_.c_str());
    return 0;
}

bool PendingFormat::Export(const ExportDescriptor&, ExportBuffer*) {
    Logger::Log(LogLevel::Error, "%s export is not available", name_.c_str());
    return false;
}

}  // namespace Velmora::FormatGlue
