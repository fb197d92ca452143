#include "prc/export/Format_PRC.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "format/FormatManager.h"
#include "format/PoolLoading.h"
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

bool Format_PRC::Export(const FormatGlue::ExportDescriptor&, FormatGlue::ExportBuffer*) {
    Logger::Log(LogLevel::Error, "PRC export is not available");
    return false;
}

uint32_t Format_PRC::Load(const ImportDescriptor& descriptor) {
    importing_ = true;
    const uint32_t scene = FormatGlue::LoadSceneThroughPool(descriptor, new (std::nothrow) AuthoringPool_PRC(), "PRC");
    importing_ = false;
    return scene;
}

}  // namespace Velmora::PRC
