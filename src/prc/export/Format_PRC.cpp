#include "prc/export/Format_PRC.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "format/FormatManager.h"
#include "format/PoolLoading.h"
#include "prc/export/PRCExport.h"
#include "prc/reader/AuthoringPool_PRC.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using FormatGlue::ImportDescriptor;
using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr uint8_t kSignature[3] = {'P', 'R', 'C'};
constexpr size_t kSignatureSize = sizeof kSignature;
}  // namespace

bool Format_PRC::CanLoad(const ImportDescriptor& descriptor) {
    uint8_t head[kSignatureSize] = {};
    if (descriptor.kind == ImportDescriptor::File) {
        if (FormatGlue::FormatManager::ExtensionOf(descriptor.path) != ".prc") return false;
        std::FILE* file = std::fopen(descriptor.path.c_str(), "rb");
        if (!file) return false;
        const bool read = std::fread(head, 1, kSignatureSize, file) == kSignatureSize;
        std::fclose(file);
        return read && std::memcmp(head, kSignature, kSignatureSize) == 0;
    }
    if (descriptor.kind == ImportDescriptor::Memory)
        return descriptor.data && descriptor.dataSize >= kSignatureSize &&
               std::memcmp(descriptor.data, kSignature, kSignatureSize) == 0;
    return false;
}

bool Format_PRC::Export(const FormatGlue::ExportDescriptor& descriptor, FormatGlue::ExportBuffer* buffer) {
    try {
        auto profile = std::make_shared<Utility::SimpleProfiler>("ExportSceneToPRC");
        profile->Start();
        // Option A asks for highly compressed tessellations.
        PRCExport exporter(descriptor.sceneHandle, descriptor.optionA, profile);
        const bool ok =
            descriptor.path.empty() ? ExportToMemory(exporter, buffer) : ExportToFile(exporter, descriptor.path);
        profile->Stop();
        if (ok) Logger::WriteText(LogLevel::Message, profile->PrintText());
        return ok;
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "Format_PRC::Export() - OUT OF MEMORY");
        return false;
    }
}

bool Format_PRC::ExportToMemory(PRCExport& exporter, FormatGlue::ExportBuffer* buffer) {
    if (!buffer) {
        Logger::Log(LogLevel::Error, "Format_PRC::Export() - no buffer for an export to memory");
        return false;
    }
    DataChunk chunk;
    if (!exporter.WriteToMemory(chunk)) return false;
    // The caller frees the bytes with the C allocator.
    auto* bytes = static_cast<uint8_t*>(std::malloc(chunk.bytes.size()));
    if (!bytes) {
        Logger::Log(LogLevel::Error, "Format_PRC::Export() - OUT OF MEMORY");
        return false;
    }
    std::memcpy(bytes, chunk.bytes.data(), chunk.bytes.size());
    buffer->data = bytes;
    buffer->size = chunk.Size();
    return true;
}

bool Format_PRC::ExportToFile(PRCExport& exporter, const std::string& path) {
    if (!exporter.WirteFileStructureBlockFromActiveScene()) return false;
    // A regular file (or a new one) is written beside its name and renamed over it at the end,
    // so that a failure leaves no partial file; anything else, a device say, is written to
    // directly, since a rename would replace it.
    struct stat info {};
    const bool exists = ::stat(path.c_str(), &info) == 0;
    if (exists && !S_ISREG(info.st_mode)) return exporter.WriteToFile(path);
    const std::string temporary = fmt::format("{:s}.{:d}.part", path, static_cast<long>(::getpid()));
    if (!exporter.WriteToFile(temporary)) {
        std::remove(temporary.c_str());
        return false;
    }
    if (std::rename(temporary.c_str(), path.c_str()) != 0) {
        Logger::LogF(LogLevel::Error, "Format_PRC::Export() - cannot move the written file to '{:s}'", path);
        std::remove(temporary.c_str());
        return false;
    }
    return true;
}

uint32_t Format_PRC::Load(const ImportDescriptor& descriptor) {
    importing_ = true;
    const uint32_t scene = FormatGlue::LoadSceneThroughPool(descriptor, new (std::nothrow) AuthoringPool_PRC(), "PRC");
    importing_ = false;
    return scene;
}

}  // namespace Velmora::PRC
