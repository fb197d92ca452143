// Feeds arbitrary bytes through the U3D reading path: container split, block walk, every
// block reader and the mesh decoders, up to the finished author pools; then the CPU half of
// the build of every point set, line set and RH compressed mesh that survived. No rendering.

#include <cstddef>
#include <cstdint>

#include "SilentLog.h"
#include "format/AuthoringInterrupt.h"
#include "rendering/Mesh.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/PrimitiveSetBuilder.h"
#include "u3d/RHCMeshBuilder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > (64u << 20)) return 0;
    auto pool = Velmora::FormatGlue::AuthoringPool::Create(new Velmora::U3D::AuthoringPool_U3D(), nullptr, nullptr);
    if (!pool || !pool->LoadFromMemory(data, static_cast<uint32_t>(size), nullptr)) return 0;
    for (const auto& [name, mesh] : pool->MeshPool().meshes) {
        if (!mesh) continue;
        Velmora::Rendering::MeshCreationInfo info;
        bool outOfMemory = false;
        if (mesh->meshKind == Velmora::U3D::MeshKind::PointSet || mesh->meshKind == Velmora::U3D::MeshKind::LineSet)
            Velmora::U3D::BuildPrimitiveSetMeshData(*mesh, info, outOfMemory);
        else if (mesh->meshKind == Velmora::U3D::MeshKind::RHCompressed)
            Velmora::U3D::BuildRHCMeshData(*mesh, pool->MeshPool().normalMode, info, outOfMemory);
    }
    return 0;
}
