// Every third-party file of the test data reads through the author pool: all blocks split,
// nodes, resources and textures land in their pools, and every CLOD declaration arrives.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "support/LogCapture.h"
#include "u3d/AuthoringPool_U3D.h"

namespace {

using namespace Velmora::U3D;
namespace fs = std::filesystem;

const fs::path kDir = fs::path(KESTRUM_TESTDATA) / "u3d";

struct Expected {
    uint32_t declarations = 0;
};

std::map<std::string, Expected> ReadFacesTable() {
    std::map<std::string, Expected> table;
    std::ifstream in(kDir / "faces.tsv");
    std::string file;
    uint64_t size = 0, faces = 0;
    uint32_t declarations = 0;
    while (in >> file >> size >> faces >> declarations) table[file].declarations = declarations;
    return table;
}

std::shared_ptr<AuthoringPool_U3D> MakePool() {
    return Velmora::FormatGlue::AuthoringPool::Create(new AuthoringPool_U3D(), nullptr, nullptr);
}

TEST(TestData, EveryFileReadsThroughThePool) {
    const auto table = ReadFacesTable();
    ASSERT_FALSE(table.empty());
    size_t files = 0;
    for (const auto& entry : fs::directory_iterator(kDir)) {
        if (entry.path().extension() != ".u3d") continue;
        const std::string name = entry.path().filename().string();
        SCOPED_TRACE(name);
        ++files;
        auto pool = MakePool();
        Velmora::Test::LogCapture log(2);
        ASSERT_TRUE(pool->LoadFromFile(entry.path().string(), nullptr));
        EXPECT_EQ(log.Count("Encountered unexpected BlockType: 0"), 0u);
        EXPECT_FALSE(log.Has("Error on reading block 'Block_Node"));
        EXPECT_FALSE(log.Has("Error on reading block 'Block_Resource"));
        EXPECT_FALSE(log.Has("Error on reading block 'Block_File_Header"));
        EXPECT_GT(pool->BlocksRead(), 1u);
        EXPECT_FALSE(pool->NodePool().GetRoot()->children.empty());
        auto it = table.find(name);
        if (it != table.end()) {
            const size_t declared = pool->MeshPool().meshes.size() + pool->MeshPool().removedMeshes.size();
            EXPECT_EQ(declared, it->second.declarations);
        }
        // Every texture that was declared got all of its bytes.
        for (const auto& [textureName, texture] : pool->TexturePool().Textures())
            EXPECT_TRUE(texture->Complete()) << textureName;
    }
    EXPECT_GE(files, 50u);
}

TEST(TestData, TextureLayersFileCarriesShadersAndTextures) {
    auto pool = MakePool();
    ASSERT_TRUE(pool->LoadFromFile((kDir / "TextureLayers.u3d").string(), nullptr));
    EXPECT_FALSE(pool->TexturePool().Textures().empty());
    EXPECT_FALSE(pool->ShaderPool().Shaders().empty());
    EXPECT_FALSE(pool->ShaderPool().ShadingModifiers().empty());
    EXPECT_FALSE(pool->MaterialPool().Materials().empty());
    bool layered = false;
    for (const auto& [n, shader] : pool->ShaderPool().Shaders()) layered |= shader->layerCount > 0;
    EXPECT_TRUE(layered);
    // Texture bytes are encoded images (PNG or JPEG).
    for (const auto& [n, texture] : pool->TexturePool().Textures()) {
        ASSERT_FALSE(texture->rawImages.empty());
        const auto& bytes = texture->rawImages[0].bytes;
        ASSERT_GE(bytes.size(), 4u);
        const bool png = bytes[0] == 0x89 && bytes[1] == 'P';
        const bool jpeg = bytes[0] == 0xFF && bytes[1] == 0xD8;
        EXPECT_TRUE(png || jpeg) << n;
    }
}

TEST(TestData, ViewsAndLightsLandOutsideTheTree) {
    auto pool = MakePool();
    ASSERT_TRUE(pool->LoadFromFile((kDir / "views.u3d").string(), nullptr));
    EXPECT_FALSE(pool->NodePool().ViewNodes().empty());
    auto light = MakePool();
    ASSERT_TRUE(light->LoadFromFile((kDir / "mp_box_light.u3d").string(), nullptr));
    EXPECT_FALSE(light->NodePool().LightNodes().empty());
    EXPECT_GT(light->LightPool().lightCount + uint32_t(light->LightPool().hasAmbient), 0u);
}

}  // namespace
