#pragma once
// The materials, colour materials, line styles and textures of one PRC load, each by its key
// "F<file structure>#<index>". A line style is what the tree refers to; FindMaterialByLinestyle
// resolves it to the material it draws with, and UploadToRenderer makes one renderer material
// per line style, named "__Material_" + the style's key.

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "prc/reader/AuthorLineStyle.h"
#include "prc/reader/AuthorMaterial.h"
#include "prc/reader/AuthorTexture.h"

namespace Velmora::Rendering {
class SceneGraph;
}

namespace Velmora::PRC {

class AuthorMaterialPool {
public:
    // What a model face needs of a style once the renderer has its material.
    struct StyleBinding {
        std::string materialName;
        std::string textureName;  // empty: no texture
        bool transparent = false;
        bool unlit = false;
    };

    bool AddMaterial(uint32_t fileStructure, uint32_t index, const std::shared_ptr<AuthorMaterial>& material);
    // A colour material is keyed by the line style that names the colour.
    bool AddColorMaterial(uint32_t fileStructure, uint32_t styleIndex, const std::shared_ptr<AuthorMaterial>& material);
    bool AddLinestyle(uint32_t fileStructure, uint32_t index, const std::shared_ptr<AuthorLineStyle>& style);
    bool AddTexture(uint32_t fileStructure, uint32_t index, const std::shared_ptr<AuthorTexture>& texture);

    const AuthorLineStyle* FindLinestyle(uint32_t fileStructure, int32_t index) const;
    // Null (logged) when the style or what it refers to is unknown.
    const AuthorMaterial* FindMaterialByLinestyle(uint32_t fileStructure, int32_t styleIndex) const;

    // Textures and one material per line style into the scene's managers. False only when the
    // scene's managers are not there; single entries that fail are logged and left out.
    bool UploadToRenderer(Rendering::SceneGraph& scene);
    // After the upload: null for a style that has no material in the renderer.
    const StyleBinding* FindBinding(uint32_t fileStructure, int32_t styleIndex) const;

    size_t TextureCount() const { return textures_.size(); }
    size_t StyleCount() const { return lineStyles_.size(); }

private:
    bool UploadTextures(Rendering::SceneGraph& scene);

    std::map<std::string, std::shared_ptr<AuthorMaterial>> materials_;
    std::map<std::string, std::shared_ptr<AuthorMaterial>> colorMaterials_;
    struct StyleEntry {
        uint32_t fileStructure = 0;
        uint32_t index = 0;
        std::shared_ptr<AuthorLineStyle> style;
    };
    std::map<std::string, StyleEntry> lineStyles_;
    std::map<std::string, std::shared_ptr<AuthorTexture>> textures_;
    std::map<std::string, StyleBinding> bindings_;
};

}  // namespace Velmora::PRC
