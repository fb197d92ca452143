#pragma once
// The scene's lights as the generated shaders read them: LightInfo is one element of the
// "light" array of the GlobalLights uniform block and LightBlock is the whole block, both laid
// out byte for byte as std140 places the GLSL declarations
//
//   struct LightSource { vec4 position; vec4 diffuse; vec4 specular; vec3 spotDirection;
//                        float constantAttenuation; float linearAttenuation;
//                        float quadraticAttenuation; float spotCutoff; float spotExponent; };
//   uniform GlobalLights { int enableLighting; int enableAmbient; int enableGamma;
//                          float gamma; vec4 ambientIntensity; LightSource light[8];
//                          ivec4 flags[8]; };
//
// so that the block is uploaded as it stands. The vec3 spotDirection shares its 16-byte slot
// with constantAttenuation, and the struct's size (80) is already a multiple of 16, which is
// its array stride. The flags are ivec4 only because std140 would pad an int array to 16
// bytes an element anyway; only x is read.

#include <cstddef>
#include <cstdint>
#include <string>

#include "rendering/MathUtil.h"

namespace Velmora::Rendering {

inline constexpr uint32_t kMaxLights = 8;

// What a light is, as its marker model shows it.
namespace LightType {
inline constexpr uint32_t Directional = 1;
inline constexpr uint32_t Point = 2;
inline constexpr uint32_t Spot = 3;
}  // namespace LightType

struct LightInfo {
    // w 0: a directional light; xyz is the direction the light travels (the shader lights a
    // surface from -xyz). Otherwise a point light at xyz, or a spot when spotCutoff > 0.
    float position[4] = {1.0f, 1.0f, 1.0f, 0.0f};
    float diffuse[4] = {};
    float specular[4] = {};
    float spotDirection[3] = {};
    float constantAttenuation = 0.0f;
    float linearAttenuation = 0.0f;
    float quadraticAttenuation = 0.0f;
    float spotCutoff = -1.0f;  // cosine of the cone's half angle
    float spotExponent = 0.0f;

    uint32_t Type() const {
        if (position[3] == 0.0f) return LightType::Directional;
        return spotCutoff > 0.0f ? LightType::Spot : LightType::Point;
    }
};

struct LightBlock {
    int32_t enableLighting = 0;
    int32_t enableAmbient = 0;
    int32_t enableGamma = 0;
    float gamma = 1.4f;
    float ambientIntensity[4] = {0.1f, 0.1f, 0.1f, 0.1f};
    LightInfo light[kMaxLights];
    int32_t flags[kMaxLights][4] = {};  // flags[i][0] == 1: light i is on
};

static_assert(sizeof(LightInfo) == 80, "LightInfo is one std140 LightSource");
static_assert(offsetof(LightInfo, spotDirection) == 48 && offsetof(LightInfo, constantAttenuation) == 60 &&
                  offsetof(LightInfo, spotExponent) == 76,
              "LightSource members at their std140 offsets");
static_assert(sizeof(LightBlock) == 800, "GlobalLights block is 800 bytes");
static_assert(offsetof(LightBlock, gamma) == 12 && offsetof(LightBlock, ambientIntensity) == 16 &&
                  offsetof(LightBlock, light) == 32 && offsetof(LightBlock, flags) == 672,
              "GlobalLights members at their std140 offsets");

// Byte offsets of the block's members, for partial uploads.
namespace LightBlockOffset {
inline constexpr size_t EnableLighting = offsetof(LightBlock, enableLighting);
inline constexpr size_t EnableAmbient = offsetof(LightBlock, enableAmbient);
inline constexpr size_t EnableGamma = offsetof(LightBlock, enableGamma);
inline constexpr size_t Gamma = offsetof(LightBlock, gamma);
inline constexpr size_t AmbientIntensity = offsetof(LightBlock, ambientIntensity);
constexpr size_t Light(uint32_t index) { return offsetof(LightBlock, light) + index * sizeof(LightInfo); }
constexpr size_t Flag(uint32_t index) { return offsetof(LightBlock, flags) + index * 16; }
}  // namespace LightBlockOffset

// What it takes to make the drawable marker of a light.
struct LightModelCreationInfo {
    std::string name;
    uint32_t lightType = LightType::Directional;
    bool visible = false;
    bool active = false;
    Mat4 matrix = MathUtil::Identity4();
};

}  // namespace Velmora::Rendering
