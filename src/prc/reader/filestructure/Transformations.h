#pragma once
// Placement of product occurrences, coordinate systems and textures.

#include <array>
#include <cstddef>
#include <cstdint>

namespace Velmora::PRC::FileStructure {

// Flag bits of a Cartesian transformation.
enum TransformationFlags : uint8_t {
    kTransformTranslate = 0x01,
    kTransformRotate = 0x02,
    kTransformMirror = 0x04,
    kTransformScale = 0x08,
    kTransformNonUniformScale = 0x10,
    kTransformNonOrtho = 0x20,
    kTransformHomogeneous = 0x40,
};

using Vec3f = std::array<float, 3>;
using Vec2f = std::array<float, 2>;

struct TransformationBase {
    explicit TransformationBase(uint32_t t) : type(t) {}
    virtual ~TransformationBase() = default;
    uint32_t type;
};

struct CartesianTransformation3D : TransformationBase {
    CartesianTransformation3D() : TransformationBase(202) {}
    uint8_t flags = 0;
    Vec3f origin{0, 0, 0};
    Vec3f xAxis{1, 0, 0};
    Vec3f yAxis{0, 1, 0};
    Vec3f zAxis{0, 0, 1};
    Vec3f scale{1, 1, 1};
    float uniformScale = 1.0f;
    Vec3f homogeneous{0, 0, 0};
    float homogeneousW = 1.0f;
};

struct CartesianTransformation2D : TransformationBase {
    CartesianTransformation2D() : TransformationBase(0) {}
    uint8_t flags = 0;
    Vec2f origin{0, 0};
    Vec2f xAxis{1, 0};
    Vec2f yAxis{0, 1};
    Vec2f scale{1, 1};
    float uniformScale = 1.0f;
    Vec2f homogeneous{0, 0};
    float homogeneousW = 1.0f;
};

struct GeneralTransformation : TransformationBase {
    GeneralTransformation() : TransformationBase(207) {
        for (size_t i = 0; i < 4; ++i) matrix[i * 5] = 1.0f;
    }
    std::array<float, 16> matrix{};  // row after row
};

}  // namespace Velmora::PRC::FileStructure
