#pragma once
// Declaration and continuation records of an RH compressed mesh, the triangle mesh that the
// "RHAdobeMeshResource" extension block carries whole. Its counts are not declared ahead:
// they come with the payload, and the reader fills both records in one go.

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "u3d/AuthorMeshData.h"

namespace Velmora::U3D {

class RHCMeshData : public AuthorMeshData {
public:
    std::shared_ptr<AuthorMeshContinuationData> CreateContinuationData() const override;

    uint32_t faceCount = 0;
};

// Per corner: position, normal, diffuse, specular and tex coord index. Indices of attributes
// the mesh lacks are 0.
struct RHCFace {
    std::array<uint32_t, 3> positions{};
    std::array<uint32_t, 3> normals{};
    std::array<uint32_t, 3> diffuse{};
    std::array<uint32_t, 3> specular{};
    std::array<uint32_t, 3> texCoords{};
};

class RHCMeshContinuationData : public AuthorMeshContinuationData {
public:
    void Print() const override;

    std::vector<RHCFace> faces;
    // Shading group of each face when the payload splits the faces into several groups;
    // empty for a mesh of one group.
    std::vector<uint32_t> faceGroups;
};

}  // namespace Velmora::U3D
