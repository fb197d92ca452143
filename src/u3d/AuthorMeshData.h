#pragma once
// Staging records shared by every U3D mesh family: what a declaration block promises
// (AuthorMeshData) and what the continuation blocks deliver (AuthorMeshContinuationData).
//
// Declared counts come straight from the file and are only upper bounds; nothing is sized
// from them beyond a capped reservation, and every array grows as data actually arrives.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Velmora::U3D {

// Values of AuthorMesh::meshKind.
namespace MeshKind {
inline constexpr uint32_t PointSet = 1;
inline constexpr uint32_t LineSet = 2;
inline constexpr uint32_t CLOD = 3;
inline constexpr uint32_t RHCompressed = 4;
}  // namespace MeshKind

// How the faces (or points, lines) of one shading id carry attributes.
struct ShadingDescription {
    static constexpr uint32_t kMaxLayers = 8;
    static constexpr uint32_t kDiffuse = 0x1;   // per-vertex diffuse colour
    static constexpr uint32_t kSpecular = 0x2;  // per-vertex specular colour

    uint32_t shadingAttributes = 0;
    uint32_t layerCount = 0;  // as read; may exceed kMaxLayers, only that many are indexed
    std::array<uint32_t, kMaxLayers> layerDimensions{};

    bool HasDiffuse() const { return (shadingAttributes & kDiffuse) != 0; }
    bool HasSpecular() const { return (shadingAttributes & kSpecular) != 0; }
};

using Vec3f = std::array<float, 3>;
using Vec4f = std::array<float, 4>;

class AuthorMeshContinuationData;

// The declared facts of one mesh.
class AuthorMeshData {
public:
    virtual ~AuthorMeshData() = default;

    // The continuation record of this mesh family, empty (null for families that have none).
    virtual std::shared_ptr<AuthorMeshContinuationData> CreateContinuationData() const { return nullptr; }

    uint32_t blockKind = 0;
    std::string meshName;
    uint32_t chainIndex = 0;
    uint32_t positionCount = 0;
    uint32_t normalCount = 0;
    uint32_t diffuseCount = 0;
    uint32_t specularCount = 0;
    uint32_t texCoordCount = 0;
    uint32_t shadingCount = 0;
    std::vector<ShadingDescription> shadingDescriptions;
    float inverseQuantPosition = 0.0f;
    float inverseQuantNormal = 0.0f;
    float inverseQuantTexCoord = 0.0f;
    float inverseQuantDiffuse = 0.0f;
    float inverseQuantSpecular = 0.0f;
};

// The accumulated arrays of one mesh. The primitive records live in the family's subclass.
class AuthorMeshContinuationData {
public:
    virtual ~AuthorMeshContinuationData() = default;

    // Debug dump of the arrays and primitives at level 5.
    virtual void Print() const;

    // Reservations made once when the mesh is created, from the declaration's maxima.
    // False if memory could not be had.
    virtual bool Prepare(const AuthorMeshData& declaration);

    // True when no attribute array holds anything and no primitive has arrived.
    bool IsEmpty() const {
        return primitiveCount == 0 && positions.empty() && normals.empty() && diffuseColors.empty() &&
               specularColors.empty() && texCoords.empty();
    }

    std::vector<Vec3f> positions;
    std::vector<Vec3f> normals;
    std::vector<Vec4f> diffuseColors;
    std::vector<Vec4f> specularColors;
    std::vector<Vec4f> texCoords;
    uint32_t primitiveCount = 0;

protected:
    void PrintArrays() const;
};

// Declared counts are trusted for reservations only up to this many entries (a declaration
// is a few dozen bytes and proves nothing); beyond it the arrays grow with the data that
// really arrives, and the continuation readers reserve again from their blocks' sizes.
inline constexpr uint32_t kMaxReservedEntries = 1u << 16;

}  // namespace Velmora::U3D
