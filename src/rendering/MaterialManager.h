#pragma once
// MaterialManager: every material of a scene in one GPU table. Rows live in a GL buffer read
// through a GL_RGBA32F buffer texture, so a draw selects its material by an integer uniform
// instead of a binding change. Row 0 is always "___DefaultMaterial". Texture unit 8 is reserved
// for the table.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "rendering/MaterialValues.h"

namespace Velmora::Rendering {

using SceneHandle = uint32_t;

class MaterialManager {
public:
    static constexpr uint32_t kTextureUnit = 8;
    static constexpr uint32_t kBufferBytes = 800000;  // 10,000 rows
    static constexpr uint32_t kReservedRows = 1024;

    explicit MaterialManager(SceneHandle handle) : handle_(handle) {}
    ~MaterialManager();
    MaterialManager(const MaterialManager&) = delete;
    MaterialManager& operator=(const MaterialManager&) = delete;

    // Creates the GL buffer and buffer texture and adds the default row; needs a current
    // context. A second call does nothing.
    bool Init();
    // Frees the GL objects and forgets every row.
    void Shutdown();

    // Appends a row and returns its index; 0 for an empty or duplicate name. No upload.
    uint32_t AddMaterial(const std::string& name, const MaterialValues& values);
    // Copies all rows into the GL buffer and leaves the table bound on unit 8.
    bool UploadMaterials();
    // Binds the table on unit 8 again: every scene has a table of its own on that one unit, so
    // each binds its own before it is drawn.
    void BindForDrawing() const;

    // Name of a row, empty when none has this index.
    std::string GetMaterialName(uint32_t index) const;

    const std::vector<MaterialValues>& GetMaterials() const { return materials_; }
    const std::map<std::string, uint32_t>& GetMaterialMap() const { return names_; }
    uint32_t GetDefaultMaterialIndex() const { return defaultMaterialIndex_; }
    uint32_t GetBufferName() const { return buffer_; }
    uint32_t GetTextureName() const { return texture_; }
    bool IsInitialized() const { return initialised_; }

    static MaterialValues DefaultMaterialValues();

private:
    SceneHandle handle_;
    bool initialised_ = false;
    std::map<std::string, uint32_t> names_;
    std::vector<MaterialValues> materials_;
    MaterialValues defaultValues_;
    uint32_t defaultMaterialIndex_ = 0;
    uint32_t buffer_ = 0;
    uint32_t texture_ = 0;
};

}  // namespace Velmora::Rendering
