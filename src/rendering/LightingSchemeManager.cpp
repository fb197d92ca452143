#include "rendering/LightingSchemeManager.h"

#include "rendering/LightManager.h"
#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr const char* kSchemeNames[LightingScheme::Count] = {
    "None", "Artwork", "White", "Day",      "Night",           "Hard",     "Primary", "Blue",
    "Red",  "Cube",    "CAD",   "Headlamp", "DemoDirectional", "DemoMixed"};

// The three-light rig most schemes share: key from the upper front, fill from the back right,
// a weak light from behind the viewer; only the colours differ.
constexpr Vec3 kKey{-0.784465f, -0.588348f, -0.196116f};
constexpr Vec3 kFill{0.590796f, 0.324938f, -0.738495f};
constexpr Vec3 kDiagonal{-0.57735f, -0.57735f, -0.57735f};

SchemeLight Directional(uint32_t index, const Vec3& direction, const Vec3& color, bool followsCamera = false) {
    SchemeLight light;
    light.index = index;
    light.followsCamera = followsCamera;
    LightInfo& info = light.info;
    for (int i = 0; i < 3; ++i) {
        info.position[i] = direction[i];
        info.diffuse[i] = color[i];
        info.specular[i] = color[i];
    }
    info.position[3] = 0.0f;
    info.diffuse[3] = info.specular[3] = 1.0f;
    return light;
}

SchemeLight Positional(uint32_t index, const Vec3& position, const Vec3& diffuse, const Vec3& specular) {
    SchemeLight light;
    light.index = index;
    LightInfo& info = light.info;
    for (int i = 0; i < 3; ++i) {
        info.position[i] = position[i];
        info.diffuse[i] = diffuse[i];
        info.specular[i] = specular[i];
    }
    info.position[3] = info.diffuse[3] = info.specular[3] = 1.0f;
    info.linearAttenuation = 0.1f;
    info.quadraticAttenuation = 0.1f;
    return light;
}

}  // namespace

bool LightingSchemeManager::GetLightingSchemeName(uint32_t id, std::string& name) {
    if (id >= LightingScheme::Count) {
        Logger::Log(LogLevel::Error, "LightingSchemeManager::GetLightingSchemeName() - INVALID ID PROVIDED!");
        return false;
    }
    name = kSchemeNames[id];
    return true;
}

uint32_t LightingSchemeManager::GetLightingSchemeFromName(const std::string& name) {
    for (uint32_t id = 0; id < LightingScheme::Count; ++id)
        if (name == kSchemeNames[id]) return id;
    Logger::Log(LogLevel::Error, "LightingSchemeManager::GetLightingSchemeFromName() - INVALID STRING PROVIDED!");
    return LightingScheme::Invalid;
}

bool LightingSchemeManager::GetSchemeLights(uint32_t id, std::vector<SchemeLight>& lights, bool& ambientOn,
                                            Vec4& ambient) {
    lights.clear();
    ambientOn = false;
    ambient = {0.1f, 0.1f, 0.1f, 0.1f};
    switch (id) {
        case LightingScheme::White:
            lights = {Directional(0, kKey, {0.38f, 0.38f, 0.45f}), Directional(1, kFill, {0.6f, 0.6f, 0.67f}),
                      Directional(2, {-0.242536f, 0.0f, 0.970143f}, {0.5f, 0.5f, 0.57f})};
            break;
        case LightingScheme::Day:
            lights = {Directional(0, kKey, {0.5f, 0.5f, 0.5f}), Directional(1, kFill, {0.8f, 0.8f, 0.9f}),
                      Directional(2, {0.009999f, 0.005f, 0.999937f}, {0.9f, 0.9f, 0.9f})};
            break;
        case LightingScheme::Night:
            lights = {Directional(0, kKey, {1.0f, 0.75f, 0.39f}), Directional(1, kFill, {0.31f, 0.47f, 0.55f}),
                      Directional(2, {0.0f, 0.0f, 1.0f}, {0.5f, 0.5f, 1.0f})};
            break;
        case LightingScheme::Hard:
            lights = {Directional(0, kDiagonal, {0.5f, 0.5f, 0.5f}),
                      Directional(1, {0.57735f, 0.57735f, -0.57735f}, {0.8f, 0.8f, 0.9f}),
                      Directional(2, {-0.242536f, 0.0f, 0.970143f}, {0.9f, 0.9f, 0.9f})};
            ambientOn = true;
            ambient = {0.5f, 0.5f, 0.5f, 1.0f};
            break;
        case LightingScheme::Primary:
            lights = {Directional(0, kKey, {1.0f, 0.2f, 0.5f}), Directional(1, kFill, {0.2f, 1.0f, 0.5f}),
                      Directional(2, {0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 1.0f})};
            break;
        case LightingScheme::Blue:
            lights = {Directional(0, kKey, {0.4f, 0.4f, 0.7f}), Directional(1, kFill, {0.75f, 0.75f, 0.95f}),
                      Directional(2, {0.0f, 0.0f, 1.0f}, {0.7f, 0.7f, 0.95f})};
            break;
        case LightingScheme::Red:
            lights = {Directional(0, kKey, {0.8f, 0.3f, 0.4f}), Directional(1, kFill, {0.95f, 0.5f, 0.7f}),
                      Directional(2, {0.0f, 0.0f, 1.0f}, {0.95f, 0.4f, 0.5f})};
            break;
        case LightingScheme::Cube: {
            // One light along each axis direction, each tilted a hair off the axis.
            constexpr Vec3 gray{0.4f, 0.4f, 0.4f};
            lights = {Directional(0, {0.9999f, 0.009999f, 0.009999f}, gray),
                      Directional(1, {0.009999f, 0.9999f, 0.009999f}, gray),
                      Directional(2, {0.009999f, 0.009999f, 0.9999f}, gray),
                      Directional(3, {-0.9999f, 0.009999f, 0.009999f}, gray),
                      Directional(4, {0.009999f, -0.9999f, 0.009999f}, gray),
                      Directional(5, {0.009999f, 0.009999f, -0.9999f}, gray)};
            break;
        }
        case LightingScheme::CAD:
            lights = {Directional(0, {0.0f, 0.0f, -1.0f}, {0.72f, 0.72f, 0.81f}, true),
                      Directional(1, kKey, {0.2f, 0.2f, 0.2f}), Directional(2, kFill, {0.32f, 0.32f, 0.32f}),
                      Directional(3, {0.019996f, 0.004999f, 0.999788f}, {0.36f, 0.36f, 0.36f})};
            break;
        case LightingScheme::Headlamp:
            lights = {Directional(0, {0.0f, 0.0f, -1.0f}, {0.8f, 0.8f, 0.9f}, true)};
            ambientOn = true;
            ambient = {0.1f, 0.1f, 0.1f, 1.0f};
            break;
        case LightingScheme::DemoDirectional:
            lights = {Directional(0, kDiagonal, {0.4f, 0.4f, 0.4f}),
                      Directional(1, {0.638877f, 0.574989f, 0.511101f}, {0.4f, 0.4f, 0.4f})};
            ambientOn = true;
            ambient = {0.1f, 0.1f, 0.1f, 1.0f};
            break;
        case LightingScheme::DemoMixed: {
            lights = {Directional(0, kDiagonal, {0.6f, 0.6f, 0.6f}),
                      Positional(1, {-2.5f, -1.2f, 2.0f}, {0.6f, 0.6f, 0.15f}, {0.8f, 0.8f, 0.2f}),
                      Positional(2, {1.5f, -0.5f, 1.0f}, {0.8f, 0.05f, 0.5f}, {0.8f, 0.05f, 0.05f})};
            LightInfo& spot = lights[2].info;
            spot.spotDirection[0] = -0.707107f;
            spot.spotDirection[1] = 0.424264f;
            spot.spotDirection[2] = -0.565685f;
            spot.spotCutoff = 0.766044f;  // cos(0.698132 rad), a 40 degree cone
            spot.spotExponent = 50.0f;
            ambientOn = true;
            ambient = {0.1f, 0.1f, 0.1f, 1.0f};
            break;
        }
        default: return false;
    }
    return true;
}

bool LightingSchemeManager::ActivateScheme(uint32_t id) {
    if (id == LightingScheme::Artwork && !artworkStored_) {
        Logger::Log(LogLevel::Warning,
                    "LightingSchemeManager::ActivateScheme() - trying to change to 'Artwork' scheme, but no lights "
                    "were saved for that scheme!");
        return false;
    }
    std::string schemeName;
    if (!GetLightingSchemeName(id, schemeName)) {
        Logger::Log(LogLevel::Warning, "LightingSchemeManager::ActivateScheme() - failed to get scheme name!");
        return false;
    }
    LightScene* scene = LightSceneLink::Find(handle_);
    LightManager* lights = scene != nullptr ? scene->GetLightManager() : nullptr;
    if (lights == nullptr) {
        Logger::Log(LogLevel::Error, "LightingSchemeManager::ActivateScheme has no active scene!");
        return false;
    }
    if (id == LightingScheme::Artwork && !lights->IsInitialized()) {
        Logger::Log(LogLevel::Error, "'Artwork' lighting scheme cannot be set - NOT INITIALIZED!");
        return false;
    }

    const float gamma = lights->GetBlock().gamma;
    const bool gammaOn = lights->GetBlock().enableGamma != 0;
    lights->Reset();
    lights->SetLightingEnabled(true);
    lights->SetGammaEnabled(gammaOn);
    lights->SetGamma(gamma);
    Logger::Log(LogLevel::Verbose, "LightingSchemes::ActivateScheme('%s') [%d]", schemeName.c_str(),
                static_cast<int>(id));
    activeScheme_ = id;

    if (id == LightingScheme::None) {
        lights->SetLightingEnabled(false);
        return true;
    }
    if (id == LightingScheme::Artwork) {
        RestoreArtwork(*lights);
        return true;
    }
    return ApplyFixedScheme(id, schemeName, *scene, *lights);
}

bool LightingSchemeManager::ApplyFixedScheme(uint32_t id, const std::string& schemeName, LightScene& scene,
                                             LightManager& lights) {
    std::vector<SchemeLight> table;
    bool ambientOn = false;
    Vec4 ambient{};
    if (!GetSchemeLights(id, table, ambientOn, ambient)) {
        Logger::Log(LogLevel::Error, "Invalid lighting scheme ID!");
        return false;
    }
    for (const SchemeLight& light : table) {
        BindMarker(light.index, light.info.Type(), schemeName, scene, lights);
        lights.SetLightInfo(light.index, light.info, true);
        if (light.followsCamera) lights.AttachLightToCamera(light.index);
    }
    if (ambientOn) lights.SetAmbient(true, ambient);
    return true;
}

void LightingSchemeManager::BindMarker(uint32_t index, uint32_t lightType, const std::string& schemeName,
                                       LightScene& scene, LightManager& lights) {
    if (index >= kMaxLights) return;
    const std::string name = "__Light_" + schemeName + std::to_string(index);
    std::shared_ptr<LightMarker> marker = scene.FindLightMarker(name);
    if (marker) {
        marker->SetVisible(lights.AreLightModelsVisible());
    } else {
        LightModelCreationInfo info;
        info.name = name;
        info.lightType = lightType;
        info.visible = lights.AreLightModelsVisible();
        info.active = true;
        const float size = scene.GetGridSize() / 250.0f;
        info.matrix = MathUtil::Scale({size, size, size});
        marker = scene.CreateLightMarker(info);
        if (!marker) {
            Logger::Log(LogLevel::Error, "LightingSchemeManager: Unable to create light model for '%s'", name.c_str());
            return;
        }
        if (!scene.AddLightMarker(marker)) {
            Logger::Log(LogLevel::Warning, "LightingSchemeManager: Cannot add light model %u to scene graph!", index);
            return;
        }
    }
    if (!lights.SetLightModel(index, marker))
        Logger::Log(LogLevel::Warning, "LightingSchemeManager: Cannot associate light model with light %u", index);
}

void LightingSchemeManager::RestoreArtwork(LightManager& lights) {
    // The document's own lights come back as they were, except for what the user set since:
    // gamma and whether it is on.
    const LightBlock current = lights.GetBlock();
    lights.Reset();
    LightBlock restored = artworkBlock_;
    restored.enableLighting = 1;
    restored.enableGamma = current.enableGamma;
    restored.gamma = current.gamma;
    lights.RestoreBlock(restored);
    for (const auto& [index, marker] : artworkModels_)
        if (index < kMaxLights && restored.flags[index][0] != 0) lights.SetLightModel(index, marker);
    // Reset hid the markers; they come back as the light-model setting says.
    lights.SetLightModelsVisible(lights.AreLightModelsVisible());
}

bool LightingSchemeManager::StoreCurrentAsArtwork() {
    LightScene* scene = LightSceneLink::Find(handle_);
    LightManager* lights = scene != nullptr ? scene->GetLightManager() : nullptr;
    if (lights == nullptr) {
        Logger::Log(LogLevel::Error, "LightingSchemeManager::StoreCurrentAsArtwork has no active scene!");
        return false;
    }
    const LightBlock& block = lights->GetBlock();
    uint32_t activeLights = 0;
    for (uint32_t i = 0; i < kMaxLights; ++i)
        if (block.flags[i][0] != 0) ++activeLights;
    bool ambient = false;
    if (block.enableAmbient != 0)
        for (const float component : block.ambientIntensity) ambient = ambient || component != 0.0f;
    if (activeLights == 0 && !ambient) {
        Logger::Log(LogLevel::Error,
                    "Failed to store current light as 'Artwork' light, because no valid lights available!");
        artworkStored_ = false;
        return false;
    }
    artworkBlock_ = block;
    artworkModels_ = lights->GetLightModels();
    artworkStored_ = true;
    return true;
}

}  // namespace Velmora::Rendering
