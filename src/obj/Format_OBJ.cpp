#include "obj/Format_OBJ.h"

#include <new>

#include "format/FormatManager.h"
#include "format/PoolLoading.h"
#include "obj/AuthoringPool_OBJ.h"

namespace Velmora::OBJ {

using FormatGlue::ImportDescriptor;

bool Format_OBJ::CanLoad(const ImportDescriptor& descriptor) {
    return descriptor.kind == ImportDescriptor::File &&
           FormatGlue::FormatManager::ExtensionOf(descriptor.path) == ".obj";
}

uint32_t Format_OBJ::Load(const ImportDescriptor& descriptor) {
    importing_ = true;
    const uint32_t scene = FormatGlue::LoadSceneThroughPool(descriptor, new (std::nothrow) AuthoringPool_OBJ(), "OBJ");
    importing_ = false;
    return scene;
}

}  // namespace Velmora::OBJ
