#pragma once
// Lights of a U3D file by resource name: at most 8, plus one ambient light that counts
// neither as one of them nor as a map entry.

#include <array>
#include <cstdint>
#include <map>
#include <string>

namespace Velmora::U3D {

struct LightData {
    std::array<float, 4> ambient{1, 1, 1, 0};
    std::array<float, 4> diffuse{};
    std::array<float, 4> specular{};
    std::array<float, 3> position{};
    std::array<float, 3> attenuation{};
    float spotCutoff = -1.0f;  // cosine of the spot angle
    float spotExponent = 0.0f;
};

class AuthorLightPool {
public:
    enum LightType : uint32_t { Directional = 1, Point = 2, Spot = 3 };
    static constexpr uint32_t kMaxLights = 8;

    struct Entry {
        LightData data;
        uint32_t lightType = 0;
        uint32_t lightIndex = 0;
    };

    // False (logged) when 8 lights are there already. A name already there is overwritten
    // and still takes a new index.
    bool AddLight(const std::string& name, const LightData& data, uint32_t lightType);
    void SetAmbient(const std::string& name, const std::array<float, 4>& color);
    const Entry* FindLight(const std::string& name) const;

    uint32_t lightCount = 0;
    bool hasAmbient = false;
    std::array<float, 4> ambientColor{};
    std::string ambientName;
    std::map<std::string, Entry> lights;
    uint32_t droppedLights = 0;
};

}  // namespace Velmora::U3D
