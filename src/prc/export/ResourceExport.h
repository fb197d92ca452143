#pragma once
// Materials, textures and their applications of an exported scene, each written once into the
// globals section, with the picture bytes kept as uncompressed files of the file structure.

#include <array>
#include <cstdint>
#include <list>
#include <map>
#include <utility>
#include <vector>

#include "prc/reader/ContainerTypes.h"
#include "rendering/Renderable.h"

namespace Velmora::PRC {

class ResourceExport {
public:
    // The block receives the entities; it must outlive this object, which owns the bytes its
    // uncompressed files point at.
    ResourceExport(Rendering::SceneHandle scene, FileStructureBlock& block) : scene_(scene), block_(block) {}
    ResourceExport(const ResourceExport&) = delete;
    ResourceExport& operator=(const ResourceExport&) = delete;

    // Index of the generic material made from the scene's material row, or -1.
    int32_t WriteGenericMaterial(uint32_t materialIndex);
    // The opacity of the scene's material row; 1 when there is no such row.
    float OpacityOf(uint32_t materialIndex) const;
    // Index of the texture definition of a renderer texture (with its picture), or -1.
    int32_t WriteTexture(uint32_t textureId);
    // Index of the material that applies the texture over the generic material, or -1.
    int32_t WriteTextureApplication(int32_t genericMaterial, uint32_t textureId);

private:
    uint32_t AddColour(const std::array<float, 4>& rgba);

    Rendering::SceneHandle scene_;
    FileStructureBlock& block_;
    std::map<uint32_t, int32_t> materials_;
    std::map<uint32_t, int32_t> textures_;
    std::map<std::pair<int32_t, uint32_t>, int32_t> applications_;
    std::list<std::vector<uint8_t>> pictureBytes_;
};

}  // namespace Velmora::PRC
