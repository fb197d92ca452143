#include "prc/reader/AuthorMaterial.h"

#include <fmt/format.h>

#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using FileStructure::Colour;
using FileStructure::GlobalsSection;
using FileStructure::MaterialGeneric;
using FileStructure::MaterialTextureApplication;
using Utility::Logger;
using Utility::LogLevel;

namespace {
// The renderer's shininess exponent for a reflectivity of 1.
constexpr float kOpaqueAlpha = 1.0f;
constexpr float kShininessScale = 128.0f;
// A colour style lights like a matt surface with a faint highlight.
constexpr float kColourAmbientShare = 0.25f;
constexpr float kColourSpecular = 0.2f;
constexpr float kColourShininess = 32.0f;

std::array<float, 4> Rgba(const Colour& colour, float alpha) { return {colour.red, colour.green, colour.blue, alpha}; }
}  // namespace

std::string EntityKey(uint32_t fileStructure, uint32_t index) {
    return fmt::format("F{:d}#{:d}", fileStructure, index);
}

bool AuthorMaterial::InitGeneric(const GlobalsSection& globals, const MaterialGeneric& material) {
    const size_t colours = globals.colours.size();
    if (material.ambient >= colours || material.diffuse >= colours || material.emissive >= colours ||
        material.specular >= colours) {
        Logger::Log(LogLevel::Error, "AuthorMaterial::Init() - invalid input style!");
        return false;
    }
    // Opacity comes from the style that shows the material. The material's own alphas are not
    // a reliable opacity: CAD exporters write 0 for opaque parts.
    values.ambient = Rgba(globals.colours[material.ambient], kOpaqueAlpha);
    values.diffuse = Rgba(globals.colours[material.diffuse], kOpaqueAlpha);
    values.emissive = Rgba(globals.colours[material.emissive], kOpaqueAlpha);
    values.specular = Rgba(globals.colours[material.specular], kOpaqueAlpha);
    values.attributes = {material.shininess * kShininessScale, kOpaqueAlpha, 0.0f, 0.0f};
    return true;
}

bool AuthorMaterial::Init(const GlobalsSection& globals, uint32_t fileStructure, uint32_t index) {
    textureKey.clear();
    if (index >= globals.materials.size() || !globals.materials[index]) {
        Logger::Log(LogLevel::Error, "AuthorMaterial::Init() - invalid input style!");
        return false;
    }
    const FileStructure::Material& material = *globals.materials[index];
    if (material.base.type == kTypeMaterialGeneric)
        return InitGeneric(globals, static_cast<const MaterialGeneric&>(material));
    if (material.base.type != kTypeMaterialTextureApplication) {
        Logger::Log(LogLevel::Error, "AuthorMaterial::Init() - invalid material type!");
        return false;
    }
    const auto& application = static_cast<const MaterialTextureApplication&>(material);
    if (application.nextTextureIndex != -1)
        Logger::Log(LogLevel::Error,
                    "AuthorMaterial::Init() - multitexturing in PRC not yet supported (requested layer: %u)", 1u);
    // The generic material under a texture must itself be generic: no chains of applications.
    const int32_t generic = application.materialGenericIndex;
    if (generic < 0 || size_t(generic) >= globals.materials.size() || !globals.materials[size_t(generic)] ||
        globals.materials[size_t(generic)]->base.type != kTypeMaterialGeneric) {
        Logger::Log(LogLevel::Error, "AuthorMaterial::Init() - invalid material type!");
        return false;
    }
    if (!InitGeneric(globals, static_cast<const MaterialGeneric&>(*globals.materials[size_t(generic)]))) return false;
    if (application.textureDefinitionIndex >= 0 &&
        size_t(application.textureDefinitionIndex) < globals.textureDefinitions.size())
        textureKey = EntityKey(fileStructure, uint32_t(application.textureDefinitionIndex));
    return true;
}

bool AuthorMaterial::CreateColorMaterial(const GlobalsSection& globals, const AuthorLineStyle& style) {
    textureKey.clear();
    if (style.kind != AuthorLineStyle::Colour) {
        Logger::Log(LogLevel::Error, "AuthorMaterial::CreateColorMaterial() - Invalid input style!");
        return false;
    }
    if (style.reference < 0 || size_t(style.reference) >= globals.colours.size()) {
        Logger::Log(LogLevel::Error, "AuthorMaterial::Init() - Invalid color index for color material");
        return false;
    }
    const Colour& colour = globals.colours[size_t(style.reference)];
    values.diffuse = Rgba(colour, style.transparency);
    values.ambient = {colour.red * kColourAmbientShare, colour.green * kColourAmbientShare,
                      colour.blue * kColourAmbientShare, 1.0f};
    values.specular = {kColourSpecular, kColourSpecular, kColourSpecular, 1.0f};
    values.emissive = {0.0f, 0.0f, 0.0f, 1.0f};
    values.attributes = {kColourShininess, style.transparency, 0.0f, 0.0f};
    return true;
}

}  // namespace Velmora::PRC
