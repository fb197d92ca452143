#pragma once
// The materials of one OBJ load, by name, and their way into a scene: a material row each and
// a texture for each diffuse map.

#include <map>
#include <string>

#include "obj/MaterialInfo.h"

namespace Velmora::Rendering {
class SceneGraph;
}  // namespace Velmora::Rendering

namespace Velmora::OBJ {

class AuthorMaterialPool {
public:
    // The name materials fall back to; the renderer's row 0 carries it.
    static constexpr const char* kDefaultMaterialName = "___DefaultMaterial";

    // False when a material of that name is present already (the first one stays).
    bool Add(const MaterialInfo& material);
    const MaterialInfo* Find(const std::string& name) const;
    bool Empty() const { return materials_.empty(); }
    size_t Size() const { return materials_.size(); }
    const std::map<std::string, MaterialInfo>& Materials() const { return materials_; }

    // Adds every material to the scene's material table and makes each diffuse map a texture,
    // with map names resolved against objDirectory. Failures are logged and cost only the
    // material or texture concerned.
    bool UploadToRenderer(Rendering::SceneGraph& scene, const std::string& objDirectory);
    // The texture name of a material's diffuse map once uploaded; empty when it has none.
    std::string DiffuseTexture(const std::string& materialName) const;

    // Where a map or library named in a file is looked for: a name without a folder sits in
    // baseDirectory; a name whose folder, taken below baseDirectory, exists keeps it; any
    // other name loses its folder. Leading slashes are dropped, so no name leaves the folder
    // as an absolute path.
    static std::string ResolveBeside(const std::string& baseDirectory, const std::string& name);

private:
    std::map<std::string, MaterialInfo> materials_;
    std::map<std::string, std::string> diffuseTextures_;
};

}  // namespace Velmora::OBJ
