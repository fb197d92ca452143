#include "obj/AuthorMaterialPool.h"

#include "rendering/SceneGraph.h"
#include "rendering/Texture.h"
#include "util/Logger.h"
#include "util/Paths.h"

namespace Velmora::OBJ {

using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr float kAlphaOpaque = 1.0f;
// The renderer's shininess exponent stops here; MTL allows up to 1000.
constexpr float kMaxShininess = 128.0f;

std::array<float, 4> WithAlpha(const MaterialInfo::Color& c) { return {c[0], c[1], c[2], kAlphaOpaque}; }

std::string JoinPath(const std::string& directory, const std::string& name) {
    if (directory.empty()) return name;
    return directory.back() == '/' ? directory + name : directory + "/" + name;
}
}  // namespace

bool AuthorMaterialPool::Add(const MaterialInfo& material) {
    return materials_.emplace(material.name, material).second;
}

const MaterialInfo* AuthorMaterialPool::Find(const std::string& name) const {
    const auto it = materials_.find(name);
    return it == materials_.end() ? nullptr : &it->second;
}

std::string AuthorMaterialPool::ResolveBeside(const std::string& baseDirectory, const std::string& name) {
    size_t start = 0;
    while (start < name.size() && (name[start] == '/' || name[start] == '\\')) ++start;
    std::string relative = name.substr(start);
    for (char& c : relative)
        if (c == '\\') c = '/';
    const size_t slash = relative.rfind('/');
    if (slash == std::string::npos) return JoinPath(baseDirectory, relative);
    const std::string folder = JoinPath(baseDirectory, relative.substr(0, slash));
    const std::string file = relative.substr(slash + 1);
    if (Utility::IsValidDirectory(folder)) return JoinPath(folder, file);
    return JoinPath(baseDirectory, file);
}

bool AuthorMaterialPool::UploadToRenderer(Rendering::SceneGraph& scene, const std::string& objDirectory) {
    Rendering::SceneResources& resources = scene.GetResources();
    for (const auto& [name, material] : materials_) {
        Rendering::MaterialValues values;
        values.ambient = WithAlpha(material.ambient);
        values.diffuse = WithAlpha(material.diffuse);
        values.specular = WithAlpha(material.specular);
        values.emissive = WithAlpha(material.emissive);
        const float shininess = material.specularExponent < kMaxShininess ? material.specularExponent : kMaxShininess;
        values.attributes = {shininess, material.opacity, 0.0f, 0.0f};
        if (resources.materialManager.AddMaterial(name, values) == 0)
            Logger::Log(LogLevel::Error,
                        "AuthorMaterialPool::UploadToRenderer() - failed to add material '%s' to MaterialManager",
                        name.c_str());
        if (material.diffuseMap.empty()) continue;

        const std::string path = ResolveBeside(objDirectory, material.diffuseMap);
        // Several materials may share one picture: it is read once.
        if (resources.textureManager.GetTextureId(path) != 0) {
            diffuseTextures_[name] = path;
            continue;
        }
        Rendering::TextureCreationInfo info;  // linear, and linear with mipmaps
        std::shared_ptr<Rendering::Texture> texture = Rendering::Texture::CreateFromFile(path, info);
        if (!texture) {
            Logger::Log(LogLevel::Error, "AuthorMaterialPool::UploadToRenderer() - failed to create texture from '%s'",
                        path.c_str());
            continue;
        }
        if (!resources.textureManager.AddTexture(path, texture)) {
            Logger::Log(LogLevel::Error,
                        "AuthorMaterialPool::UploadToRenderer() - failed to add texture '%s' to TextureManager",
                        path.c_str());
            continue;
        }
        diffuseTextures_[name] = path;
    }
    if (!resources.materialManager.UploadMaterials()) {
        Logger::Log(LogLevel::Error, "Failed to uplopd materials!");
        return false;
    }
    return true;
}

std::string AuthorMaterialPool::DiffuseTexture(const std::string& materialName) const {
    const auto it = diffuseTextures_.find(materialName);
    return it == diffuseTextures_.end() ? std::string() : it->second;
}

}  // namespace Velmora::OBJ
