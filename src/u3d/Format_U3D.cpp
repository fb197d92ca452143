#include "u3d/Format_U3D.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "format/FormatManager.h"
#include "format/PoolLoading.h"
#include "u3d/AuthoringPool_U3D.h"

namespace Velmora::U3D {

using FormatGlue::ImportDescriptor;

namespace {
constexpr uint8_t kSignature[4] = {0x55, 0x33, 0x44, 0x00};  // "U3D\0", the header block type
}  // namespace

bool Format_U3D::CanLoad(const ImportDescriptor& descriptor) {
    uint8_t head[4] = {};
    if (descriptor.kind == ImportDescriptor::File) {
        if (FormatGlue::FormatManager::ExtensionOf(descriptor.path) != ".u3d") return false;
        std::FILE* file = std::fopen(descriptor.path.c_str(), "rb");
        if (!file) return false;
        const bool read = std::fread(head, 1, 4, file) == 4;
        std::fclose(file);
        return read && std::memcmp(head, kSignature, 4) == 0;
    }
    if (descriptor.kind == ImportDescriptor::Memory)
        return descriptor.data && descriptor.dataSize >= 4 && std::memcmp(descriptor.data, kSignature, 4) == 0;
    return false;
}

uint32_t Format_U3D::Load(const ImportDescriptor& descriptor) {
    importing_ = true;
    const uint32_t scene = FormatGlue::LoadSceneThroughPool(descriptor, new (std::nothrow) AuthoringPool_U3D(), "U3D");
    importing_ = false;
    return scene;
}

}  // namespace Velmora::U3D
