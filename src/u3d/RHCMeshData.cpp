#include "u3d/RHCMeshData.h"

#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

std::shared_ptr<AuthorMeshContinuationData> RHCMeshData::CreateContinuationData() const {
    return std::make_shared<RHCMeshContinuationData>();
}

void RHCMeshContinuationData::Print() const {
    constexpr LogLevel kDumpLevel = LogLevel::ExtraVerbose;
    if (!Logger::Passes(kDumpLevel)) return;
    PrintArrays();
    Logger::Log(kDumpLevel, "Available Faces: ");
    for (uint32_t i = 0; i < primitiveCount && i < faces.size(); ++i) {
        const RHCFace& f = faces[i];
        Logger::Log(kDumpLevel, "[%04u] P{%u/%u/%u} N{%u/%u/%u} D{%u/%u/%u} S{%u/%u/%u} T{%u/%u/%u}", i, f.positions[0],
                    f.positions[1], f.positions[2], f.normals[0], f.normals[1], f.normals[2], f.diffuse[0],
                    f.diffuse[1], f.diffuse[2], f.specular[0], f.specular[1], f.specular[2], f.texCoords[0],
                    f.texCoords[1], f.texCoords[2]);
    }
}

}  // namespace Velmora::U3D
