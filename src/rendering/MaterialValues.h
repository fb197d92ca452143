#pragma once
// One row of a scene's material table: 20 floats uploaded verbatim as five GL_RGBA32F texels,
// read by the shaders at texel offsets 0 ambient, 1 diffuse, 2 specular, 3 emissive,
// 4 attributes.

#include <array>

namespace Velmora::Rendering {

struct MaterialValues {
    std::array<float, 4> ambient{0.0f, 0.0f, 0.0f, 1.0f};
    std::array<float, 4> diffuse{0.0f, 0.0f, 0.0f, 1.0f};
    std::array<float, 4> specular{0.0f, 0.0f, 0.0f, 1.0f};
    std::array<float, 4> emissive{0.0f, 0.0f, 0.0f, 1.0f};
    std::array<float, 4> attributes{0.0f, 1.0f, 0.0f, 0.0f};  // x shininess, y opacity, z w zero

    float Shininess() const { return attributes[0]; }
    float Opacity() const { return attributes[1]; }
};

static_assert(sizeof(MaterialValues) == 80, "a material row is exactly five RGBA32F texels");

}  // namespace Velmora::Rendering
