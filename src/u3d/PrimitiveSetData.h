#pragma once
// Declaration and continuation records of the two simple geometry families: point sets and
// line sets. A point or line indexes the position, normal, colour and tex coord arrays
// separately at each of its ends (one end for a point, two for a line); every index stored
// in a record has been checked against its array when it was read.

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "u3d/AuthorMeshData.h"

namespace Velmora::U3D {

// What point and line set declarations share: the number of primitives declared.
class PrimitiveSetData : public AuthorMeshData {
public:
    uint32_t primitiveCount = 0;
};

class PointSetData : public PrimitiveSetData {
public:
    std::shared_ptr<AuthorMeshContinuationData> CreateContinuationData() const override;
};

class LineSetData : public PrimitiveSetData {
public:
    std::shared_ptr<AuthorMeshContinuationData> CreateContinuationData() const override;
};

// One point (Ends = 1) or line (Ends = 2): per end its position, normal, colour and tex coord
// indices.
template <uint32_t Ends>
struct SetPrimitive {
    static constexpr uint32_t kEnds = Ends;
    std::array<uint32_t, Ends> positions{};
    std::array<uint32_t, Ends> normals{};
    std::array<uint32_t, Ends> diffuse{};
    std::array<uint32_t, Ends> specular{};
    std::array<std::array<uint32_t, Ends>, ShadingDescription::kMaxLayers> texCoords{};
    uint32_t shadingId = 0;
};
using PointRecord = SetPrimitive<1>;
using LineRecord = SetPrimitive<2>;

template <uint32_t Ends>
class SetContinuationData : public AuthorMeshContinuationData {
public:
    using Primitive = SetPrimitive<Ends>;

    void Print() const override;
    bool Prepare(const AuthorMeshData& declaration) override;

    // Exactly primitiveCount records; never more than the declared primitive count.
    std::vector<Primitive> primitives;
    // Per position, the sum of the normals of the point or line ends standing there: new
    // normals are predicted from the normals around the position they split from.
    std::vector<Vec3f> normalSums;
};
using PointSetContinuationData = SetContinuationData<1>;
using LineSetContinuationData = SetContinuationData<2>;

}  // namespace Velmora::U3D
