#include "rendering/LightManager.h"

#include <epoxy/gl.h>

#include <cmath>
#include <cstring>

#include "rendering/SceneCamera.h"
#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr Vec4 kActiveMarkerColor{1.0f, 1.0f, 0.5f, 1.0f};
constexpr Vec4 kInactiveMarkerColor{0.2f, 0.2f, 0.2f, 1.0f};

// Rotation whose x column is the unit vector d, completed to a right-handed frame.
Mat4 RotationAlong(const Vec3& d) {
    const Vec3 helper = std::fabs(d[1]) > 0.99f ? Vec3{0.0f, 0.0f, 1.0f} : Vec3{0.0f, 1.0f, 0.0f};
    const Vec3 z = MathUtil::Normalize(MathUtil::Cross(d, helper));
    const Vec3 y = MathUtil::Cross(z, d);
    Mat4 m = MathUtil::Identity4();
    for (int r = 0; r < 3; ++r) {
        m[0 + r] = d[r];
        m[4 + r] = y[r];
        m[8 + r] = z[r];
    }
    return m;
}
}  // namespace

LightManager::~LightManager() {
    if (initialised_) Logger::Log(LogLevel::Error, "LightManager instance was not shut down!");
}

bool LightManager::Init(uint32_t bindingPoint) {
    if (initialised_) return true;
    glGenBuffers(1, &buffer_);
    if (buffer_ == 0) return false;
    glBindBuffer(GL_UNIFORM_BUFFER, buffer_);
    glBufferData(GL_UNIFORM_BUFFER, sizeof(LightBlock), &block_, GL_STREAM_DRAW);
    glBindBufferRange(GL_UNIFORM_BUFFER, bindingPoint, buffer_, 0, sizeof(LightBlock));
    glBindBuffer(GL_UNIFORM_BUFFER, 0);
    bindingPoint_ = bindingPoint;
    initialised_ = true;
    return true;
}

void LightManager::InitWithoutBuffer() { initialised_ = true; }

uint32_t LightManager::Shutdown() {
    if (!initialised_) return 0;
    Reset();
    if (buffer_ != 0) glDeleteBuffers(1, &buffer_);
    buffer_ = 0;
    const uint32_t bindingPoint = bindingPoint_;
    bindingPoint_ = 0;
    initialised_ = false;
    return bindingPoint;
}

void LightManager::BindForDrawing() const {
    if (buffer_ != 0) glBindBufferRange(GL_UNIFORM_BUFFER, bindingPoint_, buffer_, 0, sizeof(LightBlock));
}

void LightManager::Upload(size_t offset, size_t size) {
    if (buffer_ == 0) return;
    glBindBuffer(GL_UNIFORM_BUFFER, buffer_);
    glBufferSubData(GL_UNIFORM_BUFFER, static_cast<GLintptr>(offset), static_cast<GLsizeiptr>(size),
                    reinterpret_cast<const uint8_t*>(&block_) + offset);
    glBindBuffer(GL_UNIFORM_BUFFER, 0);
}

void LightManager::UploadAll() {
    if (buffer_ == 0) return;
    // A fresh store rather than a sub-upload lets the driver drop the old contents.
    glBindBuffer(GL_UNIFORM_BUFFER, buffer_);
    glBufferData(GL_UNIFORM_BUFFER, sizeof(LightBlock), &block_, GL_STREAM_DRAW);
    glBindBuffer(GL_UNIFORM_BUFFER, 0);
}

bool LightManager::SetGamma(float gamma) {
    if (!(gamma >= 1.0f && gamma <= 5.0f)) {
        Logger::Log(LogLevel::Error, "LightManager::SetGamma( %.02f ) - INVALID GAMMA VALUE!", gamma);
        return false;
    }
    Logger::Log(LogLevel::Verbose, "Gamma setting now %.2f", gamma);
    block_.gamma = gamma;
    Upload(LightBlockOffset::Gamma, sizeof(float));
    return true;
}

void LightManager::SetGammaEnabled(bool enabled) {
    block_.enableGamma = enabled ? 1 : 0;
    Logger::Log(LogLevel::Verbose, "Gamma now %s", enabled ? "ENABLED" : "DISABLED");
    Upload(LightBlockOffset::EnableGamma, sizeof(int32_t));
}

void LightManager::SetLightingEnabled(bool enabled) {
    block_.enableLighting = enabled ? 1 : 0;
    Upload(LightBlockOffset::EnableLighting, sizeof(int32_t));
}

void LightManager::SetAmbient(bool enabled, const Vec4& intensity) {
    block_.enableAmbient = enabled ? 1 : 0;
    std::memcpy(block_.ambientIntensity, intensity.data(), sizeof(block_.ambientIntensity));
    Upload(LightBlockOffset::EnableAmbient, sizeof(int32_t));
    Upload(LightBlockOffset::AmbientIntensity, sizeof(block_.ambientIntensity));
}

bool LightManager::SetLightInfo(uint32_t index, const LightInfo& info, bool active) {
    if (index >= kMaxLights) {
        Logger::Log(LogLevel::Warning, "LightManager::SetLightInfo( %u ) - INVALID INDEX", index);
        return false;
    }
    block_.light[index] = info;
    block_.flags[index][0] = active ? 1 : 0;
    Upload(LightBlockOffset::Light(index), sizeof(LightInfo));
    Upload(LightBlockOffset::Flag(index), sizeof(int32_t));
    UpdateMarker(index);
    return true;
}

bool LightManager::GetLightInfo(uint32_t index, LightInfo& info) const {
    if (index >= kMaxLights) return false;
    info = block_.light[index];
    return true;
}

bool LightManager::GetLightActive(uint32_t index, bool& active) const {
    if (index >= kMaxLights) {
        Logger::Log(LogLevel::Warning, "LightManager::GetLightActive( %u ) - INVALID INDEX", index);
        return false;
    }
    active = block_.flags[index][0] != 0;
    return true;
}

void LightManager::UpdateMarker(uint32_t index) {
    const auto found = models_.find(index);
    if (found == models_.end() || !found->second) return;
    const LightInfo& info = block_.light[index];
    found->second->UpdateMarker(info.Type(), block_.flags[index][0] != 0 ? kActiveMarkerColor : kInactiveMarkerColor,
                                MarkerPlacement(info));
}

Mat4 LightManager::MarkerPlacement(const LightInfo& info) {
    const Vec3 position{info.position[0], info.position[1], info.position[2]};
    switch (info.Type()) {
        case LightType::Point: return MathUtil::Translation(position);
        case LightType::Spot: {
            const Vec3 d = MathUtil::Normalize({info.spotDirection[0], info.spotDirection[1], info.spotDirection[2]});
            const Mat4 turn = MathUtil::IsZero(d) ? MathUtil::Identity4() : RotationAlong(d);
            return MathUtil::Multiply(MathUtil::Translation(position), turn);
        }
        default: {
            const Vec3 d = MathUtil::Normalize(position);
            return MathUtil::IsZero(d) ? MathUtil::Identity4() : RotationAlong(d);
        }
    }
}

bool LightManager::SetLightModel(uint32_t index, std::shared_ptr<LightMarker> marker) {
    if (index >= kMaxLights || !marker) return false;
    models_[index] = std::move(marker);
    UpdateMarker(index);
    return true;
}

void LightManager::SetLightModelsVisible(bool visible) {
    visible_ = visible;
    for (auto& [index, marker] : models_)
        if (marker) marker->SetVisible(visible);
}

void LightManager::Reset() {
    block_.enableLighting = 0;
    Upload(LightBlockOffset::EnableLighting, sizeof(int32_t));
    cameraLights_.clear();
    for (auto& [index, marker] : models_)
        if (marker) marker->SetVisible(false);
    models_.clear();
    block_ = LightBlock{};
    UploadAll();
}

void LightManager::RestoreBlock(const LightBlock& block) {
    block_ = block;
    UploadAll();
}

bool LightManager::AttachLightToCamera(uint32_t index) {
    if (index >= kMaxLights) {
        Logger::Log(LogLevel::Warning, "LightManager::AttachLightToCamera( %u ) - INVALID INDEX", index);
        return false;
    }
    cameraLights_.insert(index);
    cameraAttachedDirty_ = true;
    return true;
}

void LightManager::UpdateCameraLights(const SceneCamera& camera) {
    UpdateCameraLights(camera.GetEye(), camera.GetForward());
}

void LightManager::UpdateCameraLights(const Vec3& eye, const Vec3& forward) {
    for (const uint32_t index : cameraLights_) {
        bool active = false;
        if (!GetLightActive(index, active)) continue;
        LightInfo info = block_.light[index];
        if (info.Type() == LightType::Directional) {
            info.position[0] = forward[0];
            info.position[1] = forward[1];
            info.position[2] = forward[2];
            info.position[3] = 0.0f;
        } else {
            const bool spot = info.Type() == LightType::Spot;
            info.position[0] = eye[0];
            info.position[1] = eye[1];
            info.position[2] = eye[2];
            info.position[3] = 1.0f;
            if (spot) {
                info.spotDirection[0] = forward[0];
                info.spotDirection[1] = forward[1];
                info.spotDirection[2] = forward[2];
            }
        }
        SetLightInfo(index, info, active);
    }
    cameraAttachedDirty_ = false;
}

}  // namespace Velmora::Rendering
