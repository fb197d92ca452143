#include "rendering/MaterialManager.h"

#include <epoxy/gl.h>

#include <cstring>
#include <memory>
#include <new>

#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

MaterialValues MaterialManager::DefaultMaterialValues() {
    // The default emits 0.4, so that an unlit scene is still readable.
    MaterialValues v;
    v.ambient = {0.25f, 0.25f, 0.25f, 1.0f};
    v.diffuse = {0.4f, 0.4f, 0.4f, 1.0f};
    v.specular = {0.4f, 0.4f, 0.4f, 1.0f};
    v.emissive = {0.4f, 0.4f, 0.4f, 1.0f};
    v.attributes = {100.0f, 1.0f, 0.0f, 0.0f};
    return v;
}

MaterialManager::~MaterialManager() {
    if (initialised_ || !materials_.empty())
        Logger::Log(LogLevel::Error, "MaterialManager instance was not shut down!");
}

bool MaterialManager::Init() {
    if (initialised_) return true;

    glGenBuffers(1, &buffer_);
    glBindBuffer(GL_TEXTURE_BUFFER, buffer_);
    glBufferData(GL_TEXTURE_BUFFER, kBufferBytes, nullptr, GL_DYNAMIC_DRAW);
    glGenTextures(1, &texture_);
    glBindTexture(GL_TEXTURE_BUFFER, texture_);
    glTexBuffer(GL_TEXTURE_BUFFER, GL_RGBA32F, buffer_);
    glBindTexture(GL_TEXTURE_BUFFER, 0);
    glBindBuffer(GL_TEXTURE_BUFFER, 0);

    defaultValues_ = DefaultMaterialValues();
    names_.clear();
    materials_.clear();
    materials_.reserve(kReservedRows);
    defaultMaterialIndex_ = AddMaterial("___DefaultMaterial", defaultValues_);
    if (materials_.empty()) Logger::Log(LogLevel::Error, "Cannot add default material!");
    initialised_ = true;
    return true;
}

void MaterialManager::Shutdown() {
    if (texture_) glDeleteTextures(1, &texture_);
    if (buffer_) glDeleteBuffers(1, &buffer_);
    texture_ = buffer_ = 0;
    names_.clear();
    materials_.clear();
    initialised_ = false;
}

uint32_t MaterialManager::AddMaterial(const std::string& name, const MaterialValues& values) {
    if (name.empty()) {
        Logger::Log(LogLevel::Error, "Cannot add material with empty name!");
        return 0;
    }
    const uint32_t index = uint32_t(materials_.size());
    if (!names_.try_emplace(name, index).second) {
        Logger::Log(LogLevel::Error, "Cannot add material '%s' - DUPLICATE!", name.c_str());
        return 0;
    }
    materials_.push_back(values);
    return index;
}

bool MaterialManager::UploadMaterials() {
    const size_t size = materials_.size() * sizeof(MaterialValues);
    std::unique_ptr<uint8_t[]> staging(new (std::nothrow) uint8_t[size ? size : 1]());
    if (!staging) {
        Logger::Log(LogLevel::Error, "MaterialManager::UploadMaterials() - OUT OF MEMORY");
        return false;
    }
    if (size) std::memcpy(staging.get(), materials_.data(), size);

    glBindBuffer(GL_TEXTURE_BUFFER, buffer_);
    // Past the fixed 800,000 bytes the mapping fails and the upload is skipped.
    void* target =
        size ? glMapBufferRange(GL_TEXTURE_BUFFER, 0, GLsizeiptr(size), GL_MAP_WRITE_BIT | GL_MAP_INVALIDATE_RANGE_BIT)
             : nullptr;
    if (target) {
        std::memcpy(target, staging.get(), size);
        glUnmapBuffer(GL_TEXTURE_BUFFER);
    }
    staging.reset();
    BindForDrawing();
    return true;
}

void MaterialManager::BindForDrawing() const {
    if (texture_ == 0) return;
    glActiveTexture(GL_TEXTURE0 + kTextureUnit);
    glBindTexture(GL_TEXTURE_BUFFER, texture_);
    glActiveTexture(GL_TEXTURE0);
}

std::string MaterialManager::GetMaterialName(uint32_t index) const {
    for (const auto& [name, row] : names_)
        if (row == index) return name;
    return {};
}

}  // namespace Velmora::Rendering
