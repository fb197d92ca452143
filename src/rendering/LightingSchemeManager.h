#pragma once
// LightingSchemeManager: replaces the scene's light set with one of the named lighting
// schemes that 3D views ask for, and keeps what the document itself brought as the scheme
// "Artwork" so that it can be restored after another scheme.
//
// Scheme ids and names: 0 "None" (lighting off), 1 "Artwork", 2 "White", 3 "Day", 4 "Night",
// 5 "Hard", 6 "Primary", 7 "Blue", 8 "Red", 9 "Cube", 10 "CAD", 11 "Headlamp", and two
// demonstration sets, 12 "DemoDirectional" and 13 "DemoMixed". Render thread only.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "rendering/LightInfo.h"
#include "rendering/LightSceneLink.h"

namespace Velmora::Rendering {

namespace LightingScheme {
inline constexpr uint32_t None = 0;
inline constexpr uint32_t Artwork = 1;
inline constexpr uint32_t White = 2;
inline constexpr uint32_t Day = 3;
inline constexpr uint32_t Night = 4;
inline constexpr uint32_t Hard = 5;
inline constexpr uint32_t Primary = 6;
inline constexpr uint32_t Blue = 7;
inline constexpr uint32_t Red = 8;
inline constexpr uint32_t Cube = 9;
inline constexpr uint32_t CAD = 10;
inline constexpr uint32_t Headlamp = 11;
inline constexpr uint32_t DemoDirectional = 12;
inline constexpr uint32_t DemoMixed = 13;
inline constexpr uint32_t Count = 14;
inline constexpr uint32_t Invalid = 0xFFFFFFFFu;  // what an unknown name maps to
}  // namespace LightingScheme

// One light of a fixed scheme.
struct SchemeLight {
    uint32_t index = 0;
    LightInfo info;
    bool followsCamera = false;
};

class LightingSchemeManager {
public:
    explicit LightingSchemeManager(SceneHandle handle) : handle_(handle) {}

    static bool GetLightingSchemeName(uint32_t id, std::string& name);
    // Exact, case-sensitive match; LightingScheme::Invalid for an unknown name.
    static uint32_t GetLightingSchemeFromName(const std::string& name);
    // The lights of a fixed scheme (2 to 13) and its ambient term; false for other ids.
    static bool GetSchemeLights(uint32_t id, std::vector<SchemeLight>& lights, bool& ambientOn, Vec4& ambient);

    // Replaces the light set. Gamma and whether it is on survive the switch.
    bool ActivateScheme(uint32_t id);
    // Records the present light set as "Artwork"; refused when it holds no light and no
    // ambient term.
    bool StoreCurrentAsArtwork();
    // Forgets the stored markers (scene shutdown: the models are going away).
    void ClearLightModels() { artworkModels_.clear(); }

    uint32_t GetActiveScheme() const { return activeScheme_; }
    bool HasArtwork() const { return artworkStored_; }

private:
    bool ApplyFixedScheme(uint32_t id, const std::string& schemeName, LightScene& scene, LightManager& lights);
    void RestoreArtwork(LightManager& lights);
    void BindMarker(uint32_t index, uint32_t lightType, const std::string& schemeName, LightScene& scene,
                    LightManager& lights);

    SceneHandle handle_;
    bool artworkStored_ = false;
    LightBlock artworkBlock_;
    std::map<uint32_t, std::shared_ptr<LightMarker>> artworkModels_;
    uint32_t activeScheme_ = 0;
};

}  // namespace Velmora::Rendering
