#include "prc/export/ResourceExport.h"

#include <fmt/format.h>

#include <array>
#include <new>

#include "prc/reader/filestructure/EntityTypes.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "rendering/Texture.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;

namespace {

// The renderer's shininess exponent for a reflectivity of 1, as the reader scales it.
constexpr float kShininessScale = 128.0f;
// Pictures are stored as raw RGBA rows, top row first.
constexpr int32_t kPictureBitmapRgba = 3;
constexpr uint8_t kTextureDimensions = 2;
constexpr uint32_t kBytesPerPixel = 4;
constexpr size_t kBlue = 0, kGreen = 1, kRed = 2, kAlpha = 3;

std::shared_ptr<Rendering::SceneGraph> SceneOf(Rendering::SceneHandle handle) {
    return Rendering::SceneManager::Instance().GetScene(handle);
}

}  // namespace

uint32_t ResourceExport::AddColour(const std::array<float, 4>& rgba) {
    block_.globals.colours.push_back(Colour{rgba[0], rgba[1], rgba[2]});
    return static_cast<uint32_t>(block_.globals.colours.size() - 1);
}

float ResourceExport::OpacityOf(uint32_t materialIndex) const {
    const std::shared_ptr<Rendering::SceneGraph> scene = SceneOf(scene_);
    if (!scene) return 1.0f;
    const auto& rows = scene->GetResources().materialManager.GetMaterials();
    return materialIndex < rows.size() ? rows[materialIndex].Opacity() : 1.0f;
}

int32_t ResourceExport::WriteGenericMaterial(uint32_t materialIndex) {
    const auto known = materials_.find(materialIndex);
    if (known != materials_.end()) return known->second;
    const std::shared_ptr<Rendering::SceneGraph> scene = SceneOf(scene_);
    if (!scene) {
        Logger::Log(LogLevel::Error, "ResourceExport::WriteGenericMaterial() - INVALID SCENE");
        return -1;
    }
    const Rendering::MaterialManager& manager = scene->GetResources().materialManager;
    const auto& rows = manager.GetMaterials();
    const uint32_t row = materialIndex < rows.size() ? materialIndex : manager.GetDefaultMaterialIndex();
    if (row >= rows.size()) {
        Logger::Log(LogLevel::Error, "ResourceExport::WriteGenericMaterial() - FAILED TO MAP MATERIAL");
        return -1;
    }
    const Rendering::MaterialValues& values = rows[row];
    auto material = std::make_shared<MaterialGeneric>();
    material->base.name = fmt::format("{:s}_Material", manager.GetMaterialName(row));
    material->ambient = AddColour(values.ambient);
    material->diffuse = AddColour(values.diffuse);
    material->emissive = AddColour(values.emissive);
    material->specular = AddColour(values.specular);
    material->shininess = values.Shininess() / kShininessScale;
    material->ambientAlpha = material->diffuseAlpha = material->emissiveAlpha = material->specularAlpha =
        values.Opacity();
    const auto index = static_cast<int32_t>(block_.globals.materials.size());
    block_.globals.materials.push_back(material);
    if (!materials_.emplace(materialIndex, index).second) {
        Logger::Log(LogLevel::Error, "ResourceExport::WriteGenericMaterial() - FAILED TO MAP MATERIAL");
        return -1;
    }
    return index;
}

int32_t ResourceExport::WriteTexture(uint32_t textureId) {
    const auto known = textures_.find(textureId);
    if (known != textures_.end()) return known->second;
    const std::shared_ptr<Rendering::SceneGraph> scene = SceneOf(scene_);
    if (!scene) {
        Logger::Log(LogLevel::Error, "ResourceExport::WriteTexture() - INVALID SCENE");
        return -1;
    }
    const std::shared_ptr<Rendering::Texture> texture = scene->GetResources().textureManager.GetTexture(textureId);
    if (!texture) {
        Logger::Log(LogLevel::Error, "ResourceExport::WriteTexture() - INVALID RENDER TEXTURE");
        return -1;
    }
    const std::shared_ptr<Rendering::TextureData> data = texture->GetTextureDataFromGPU();
    if (!data || !data->pixels || data->width == 0 || data->height == 0 ||
        uint64_t{data->width} * data->height * kBytesPerPixel > data->size) {
        Logger::Log(LogLevel::Error, "PRCExport::WriteTexture() - FAILED TO GET TEXTURE DATA");
        return -1;
    }
    // The GPU gives BGRA rows from the bottom up; the picture holds RGBA rows from the top.
    std::vector<uint8_t>& bytes = pictureBytes_.emplace_back(size_t{data->width} * data->height * kBytesPerPixel);
    const size_t rowBytes = size_t{data->width} * kBytesPerPixel;
    for (uint32_t y = 0; y < data->height; ++y) {
        const uint8_t* in = data->pixels.get() + size_t(data->height - 1 - y) * rowBytes;
        uint8_t* out = bytes.data() + size_t(y) * rowBytes;
        for (uint32_t x = 0; x < data->width; ++x, in += kBytesPerPixel, out += kBytesPerPixel) {
            out[0] = in[kRed];
            out[1] = in[kGreen];
            out[2] = in[kBlue];
            out[3] = in[kAlpha];
        }
    }
    auto file = std::make_shared<UncompressedFileBlock>();
    file->data = bytes.data();
    file->size = static_cast<uint32_t>(bytes.size());
    block_.uncompressedFiles.push_back(file);

    const std::string name = fmt::format("Texture{:d}", textureId);
    Picture picture;
    picture.base.type = kTypePicture;
    picture.base.name = name + "_Picture";
    picture.format = kPictureBitmapRgba;
    picture.uncompressedFileIndex = static_cast<int32_t>(block_.uncompressedFiles.size() - 1);
    picture.width = data->width;
    picture.height = data->height;
    block_.globals.pictures.push_back(picture);

    auto definition = std::make_shared<TextureDefinition>();
    definition->base.type = kTypeTextureDefinition;
    definition->base.name = name + "_Texture";
    definition->pictureIndex = static_cast<int32_t>(block_.globals.pictures.size() - 1);
    definition->dimensions = kTextureDimensions;
    const auto index = static_cast<int32_t>(block_.globals.textureDefinitions.size());
    block_.globals.textureDefinitions.push_back(definition);
    if (!textures_.emplace(textureId, index).second) {
        Logger::Log(LogLevel::Error, "PRCExport::WriteTexture() - FAILED TO MAP TEXTURE");
        return -1;
    }
    return index;
}

int32_t ResourceExport::WriteTextureApplication(int32_t genericMaterial, uint32_t textureId) {
    if (genericMaterial < 0) {
        Logger::Log(LogLevel::Error, "ResourceExport::WriteTextureApplication() - INVALID INPUT DATA");
        return -1;
    }
    const auto key = std::make_pair(genericMaterial, textureId);
    const auto known = applications_.find(key);
    if (known != applications_.end()) return known->second;
    const int32_t texture = WriteTexture(textureId);
    if (texture < 0) {
        Logger::Log(LogLevel::Error, "ResourceExport::WriteTextureApplication() - INVALID RENDER TEXTURE");
        return -1;
    }
    auto application = std::make_shared<MaterialTextureApplication>();
    application->base.name = block_.globals.textureDefinitions[size_t(texture)]->base.name;
    application->materialGenericIndex = genericMaterial;
    application->textureDefinitionIndex = texture;
    const auto index = static_cast<int32_t>(block_.globals.materials.size());
    block_.globals.materials.push_back(application);
    if (!applications_.emplace(key, index).second) {
        Logger::Log(LogLevel::Error,
                    "PRCExport::WriteTextureApplication() - Failed to add mapping info for texture application!");
        return -1;
    }
    return index;
}

}  // namespace Velmora::PRC
