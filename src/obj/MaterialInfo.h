#pragma once
// One material of an MTL library, with the defaults of a new material.

#include <array>
#include <cstdint>
#include <string>

namespace Velmora::OBJ {

struct MaterialInfo {
    using Color = std::array<float, 3>;

    std::string name;
    Color ambient{0.0f, 0.0f, 0.0f};
    Color diffuse{0.0f, 0.0f, 0.0f};
    Color specular{0.0f, 0.0f, 0.0f};
    Color emissive{0.0f, 0.0f, 0.0f};
    float specularExponent = 1.0f;
    float opticalDensity = 1.0f;
    float opacity = 1.0f;
    uint16_t illuminationModel = 0;
    Color transmissionFilter{1.0f, 1.0f, 1.0f};
    std::string ambientMap;
    std::string diffuseMap;
    std::string emissiveMap;
    std::string specularMap;
    std::string specularExponentMap;
    std::string opacityMap;
    std::string bumpMap;
    std::string reflectionMap;
};

}  // namespace Velmora::OBJ
