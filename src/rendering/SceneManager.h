#pragma once
// Process-wide registry of scenes. Hands out handles (never reused), keeps the scenes alive and
// records which render views show which scene: the set of view names is a scene's reference
// count, and unlinking the last view releases the scene. Render thread only.

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace Velmora::Rendering {

using SceneHandle = uint32_t;
class SceneGraph;
class RenderView;

class SceneManager {
public:
    static SceneManager& Instance();

    SceneHandle CreateScene();
    std::shared_ptr<SceneGraph> GetScene(SceneHandle handle) const;
    void ReleaseScene(SceneHandle handle);
    // Releases every scene still held (process end), with the GL context current.
    void ReleaseAllScenes();
    bool LinkSceneToRenderView(SceneHandle handle, RenderView* view);
    bool UnlinkSceneFromRenderView(RenderView* view);
    // Number of views that show the scene; 0 for an unknown handle.
    uint32_t GetReferenceCount(SceneHandle handle) const;
    const auto& GetScenes() const { return scenes_; }

private:
    SceneManager();
    struct Entry {
        std::shared_ptr<SceneGraph> scene;
        std::set<std::string> views;
    };
    std::map<SceneHandle, Entry> scenes_;
    SceneHandle counter_ = 0;
};

}  // namespace Velmora::Rendering
