#pragma once
// Shared by the shader and helper-geometry tests: a log capture and a stand-in for the scene
// registry, which answers the shader and mesh lookups for the handles a test registers.

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "rendering/MeshManager.h"
#include "rendering/SimpleMeshFactory.h"
#include "rendering/shaders/ShaderSceneLink.h"
#include "util/Logger.h"

namespace kestrum_test {

class LogCapture {
public:
    LogCapture() : stream_(std::make_shared<Stream>()) {
        auto& logger = Velmora::Utility::Logger::Instance();
        previous_ = logger.Stream();
        previousLevel_ = logger.MaxLevel();
        logger.SetStream(stream_);
        logger.SetMaxLevel(5);
    }
    ~LogCapture() {
        auto& logger = Velmora::Utility::Logger::Instance();
        logger.SetStream(previous_);
        logger.SetMaxLevel(previousLevel_);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Number of lines at this level (or any level for -1) that contain text.
    size_t Count(const std::string& text, int32_t level = -1) const {
        std::lock_guard<std::mutex> lock(stream_->mutex);
        size_t n = 0;
        for (const auto& [lineLevel, line] : stream_->lines)
            if ((level < 0 || lineLevel == level) && line.find(text) != std::string::npos) ++n;
        return n;
    }
    bool Has(const std::string& text, int32_t level = -1) const { return Count(text, level) != 0; }
    // The first line containing text, or empty.
    std::string Find(const std::string& text) const {
        std::lock_guard<std::mutex> lock(stream_->mutex);
        for (const auto& entry : stream_->lines)
            if (entry.second.find(text) != std::string::npos) return entry.second;
        return {};
    }
    size_t ErrorCount() const {
        std::lock_guard<std::mutex> lock(stream_->mutex);
        size_t n = 0;
        for (const auto& entry : stream_->lines) n += entry.first == 1;
        return n;
    }
    void Clear() {
        std::lock_guard<std::mutex> lock(stream_->mutex);
        stream_->lines.clear();
    }

private:
    struct Stream : Velmora::Utility::LogStream {
        void Write(int32_t level, const std::string& text) override {
            std::lock_guard<std::mutex> lock(mutex);
            lines.emplace_back(level, text);
        }
        std::mutex mutex;
        std::vector<std::pair<int32_t, std::string>> lines;
    };
    std::shared_ptr<Stream> stream_;
    std::shared_ptr<Velmora::Utility::LogStream> previous_;
    int32_t previousLevel_ = 2;
};

// Scenes known to the lookups while the object lives; the scene registry's own lookups are
// put back afterwards. Only one may live at a time.
class FakeScenes {
public:
    FakeScenes()
        : previousShaderLookup_(Velmora::Rendering::ShaderSceneLink::Installed()),
          previousMeshLookup_(Velmora::Rendering::SimpleMeshFactory::GetMeshManagerLookup()) {
        Instance() = this;
        Velmora::Rendering::ShaderSceneLink::Install(&ShaderLookup);
        Velmora::Rendering::SimpleMeshFactory::SetMeshManagerLookup(&MeshLookup);
    }
    ~FakeScenes() {
        for (auto& entry : scenes_) entry.second.meshes->Shutdown();
        Velmora::Rendering::ShaderSceneLink::Install(previousShaderLookup_);
        Velmora::Rendering::SimpleMeshFactory::SetMeshManagerLookup(previousMeshLookup_);
        Instance() = nullptr;
    }
    FakeScenes(const FakeScenes&) = delete;
    FakeScenes& operator=(const FakeScenes&) = delete;

    void Add(Velmora::Rendering::SceneHandle handle, uint32_t lightingModel, uint32_t matricesBinding = 1,
             uint32_t lightsBinding = 2) {
        Scene& scene = scenes_[handle];
        scene.info = {lightingModel, matricesBinding, lightsBinding};
        scene.meshes = std::make_unique<Velmora::Rendering::MeshManager>(handle);
    }
    void SetLightingModel(Velmora::Rendering::SceneHandle handle, uint32_t model) { scenes_.at(handle).info.lightingModel = model; }
    Velmora::Rendering::MeshManager& Meshes(Velmora::Rendering::SceneHandle handle) { return *scenes_.at(handle).meshes; }

private:
    struct Scene {
        Velmora::Rendering::ShaderSceneInfo info;
        std::unique_ptr<Velmora::Rendering::MeshManager> meshes;
    };

    static FakeScenes*& Instance() {
        static FakeScenes* instance = nullptr;
        return instance;
    }
    static bool ShaderLookup(Velmora::Rendering::SceneHandle handle, Velmora::Rendering::ShaderSceneInfo& info) {
        FakeScenes* self = Instance();
        if (!self) return false;
        auto found = self->scenes_.find(handle);
        if (found == self->scenes_.end()) return false;
        info = found->second.info;
        return true;
    }
    static Velmora::Rendering::MeshManager* MeshLookup(Velmora::Rendering::SceneHandle handle) {
        FakeScenes* self = Instance();
        if (!self) return nullptr;
        auto found = self->scenes_.find(handle);
        return found == self->scenes_.end() ? nullptr : found->second.meshes.get();
    }

    Velmora::Rendering::ShaderSceneLink::Lookup previousShaderLookup_;
    Velmora::Rendering::SimpleMeshFactory::MeshManagerLookup previousMeshLookup_;
    std::map<Velmora::Rendering::SceneHandle, Scene> scenes_;
};

}  // namespace kestrum_test
