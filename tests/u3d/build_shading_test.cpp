// Render states of mesh groups from U3D lit texture shaders.

#include <gtest/gtest.h>

#include "support/LogCapture.h"
#include "u3d/ShaderStateBuilder.h"

namespace {

using namespace Velmora::U3D;
using Velmora::Test::LogCapture;
namespace VA = Velmora::Rendering::VertexAttribute;
namespace Flags = Velmora::Rendering::ShaderFlags;

TEST(GroupShading, FrameBufferBlendAndAlphaTestMapFromTheFileEnumerants) {
    LogCapture log;
    EXPECT_EQ(BlendModeFromColorBlendFunction(0x604), 1u);
    EXPECT_EQ(BlendModeFromColorBlendFunction(0x607), 4u);
    EXPECT_EQ(BlendModeFromColorBlendFunction(0x603), 3u);
    EXPECT_TRUE(log.Has("BlendModeFromColorBlendFunction - invalid input, falling back to BlendMode_Alpha_Blend", 1));
    EXPECT_EQ(AlphaBlendModeFromAlphaBlendFunction(0x610), 1u);
    EXPECT_EQ(AlphaBlendModeFromAlphaBlendFunction(0x616), 7u);
    EXPECT_EQ(log.Count("AlphaBlendModeFromAlphaBlendFunction"), 0u);
    EXPECT_EQ(AlphaBlendModeFromAlphaBlendFunction(0x618), 0u);
    EXPECT_TRUE(log.Has("AlphaBlendModeFromAlphaBlendFunction - invalid input, falling back to AlphaTestFunc_Always", 1));
    EXPECT_EQ(GetBlendFunction(2), 0u);
    EXPECT_EQ(GetBlendFunction(1), 1u);
    EXPECT_EQ(GetBlendFunction(0), 2u);
    EXPECT_EQ(GetBlendFunction(3), 3u);
    EXPECT_EQ(GetBlendFunction(9), 2u);
    EXPECT_TRUE(log.Has("GetBlendFunction - invalid input, falling back to TexBlendFunc_Replace", 1));
}

TEST(GroupShading, WithoutShaderTheGroupKeepsDefaults) {
    const GroupShading state = MakeGroupShading(VA::Position | VA::Normal, nullptr, "m");
    EXPECT_EQ(state.description.blendMode, 3u);
    EXPECT_EQ(state.description.textureLayers, 0u);
    EXPECT_TRUE(state.description.HasFlag(Flags::Lighting));
    EXPECT_TRUE(state.description.HasFlag(Flags::MaterialSampler));
    EXPECT_TRUE(state.materialName.empty());
    EXPECT_FALSE(state.transparent);
    // Without normals nothing can be lit.
    EXPECT_FALSE(MakeGroupShading(VA::Position, nullptr, "m").description.HasFlag(Flags::Lighting));
}

AuthorShader TwoLayerShader() {
    AuthorShader shader;
    shader.name = "s";
    shader.attributes = ShaderAttribute::Lighting | ShaderAttribute::AlphaTest;
    shader.alphaTestFunction = 0x612;
    shader.alphaTestReference = 0.25f;
    shader.colorBlendFunction = 0x605;
    shader.shaderChannels = 0x5;  // bits 0 and 2: records 0 and 1
    shader.layerCount = 2;
    shader.alphaTextureChannels = 0x4;
    shader.materialName = "mat";
    shader.layers.resize(2);
    shader.layers[0].textureName = "t0";
    shader.layers[0].intensity = 0.5f;
    shader.layers[0].blendFunction = 2;
    shader.layers[1].textureName = "t1";
    shader.layers[1].intensity = 1.0f;
    shader.layers[1].blendFunction = 1;
    shader.layers[1].blendSource = 1;
    shader.layers[1].blendConstant = 0.75f;
    return shader;
}

TEST(GroupShading, PackedLayersFollowTheChannelBits) {
    const AuthorShader shader = TwoLayerShader();
    LogCapture log;
    const uint32_t attributes = VA::Position | VA::Normal | VA::TexCoord(0) | VA::TexCoord(1);
    const GroupShading state = MakeGroupShading(attributes, &shader, "mesh");
    EXPECT_EQ(log.Count("Mismatching"), 0u);
    const auto& d = state.description;
    EXPECT_EQ(d.blendMode, 2u);
    EXPECT_EQ(d.alphaFunction, 3u);
    EXPECT_FLOAT_EQ(d.alphaReference, 0.25f);
    EXPECT_EQ(d.textureLayers, 0x3u);
    EXPECT_EQ(d.layerBlend[0], 0u);
    // Layer 1 owns channel bit 2, which is an alpha channel with a constant source.
    EXPECT_EQ(d.layerBlend[1], 1u | 0x4u | 0x8u);
    EXPECT_FLOAT_EQ(d.texIntensity[0], 0.5f);
    EXPECT_FLOAT_EQ(d.blendingConstant[1], 0.75f);
    EXPECT_EQ(state.textureNames[0], "t0");
    EXPECT_EQ(state.textureNames[1], "t1");
    EXPECT_EQ(state.materialName, "mat");
    EXPECT_TRUE(state.transparent);
}

TEST(GroupShading, LayerCountMismatchTakesTheSmaller) {
    AuthorShader shader = TwoLayerShader();
    shader.alphaTextureChannels = 0;
    LogCapture log;
    const GroupShading state = MakeGroupShading(VA::Position | VA::TexCoord(0), &shader, "mesh");
    EXPECT_TRUE(log.Has("Mismatching number of available vertex coordinates and active textures for Mesh 'mesh' with "
                        "Shader 's'"));
    EXPECT_EQ(state.description.textureLayers, 0x1u);
    EXPECT_TRUE(state.textureNames[1].empty());
    EXPECT_FALSE(state.transparent);

    // A disabled alpha test, or GL_ALWAYS, sets no test; lighting off in the shader stays off.
    shader.attributes = 0;
    const GroupShading unlit = MakeGroupShading(VA::Position | VA::Normal, &shader, "mesh");
    EXPECT_EQ(unlit.description.alphaFunction, 0u);
    EXPECT_FALSE(unlit.description.HasFlag(Flags::Lighting));
    EXPECT_EQ(unlit.description.textureLayers, 0u);
    shader.attributes = ShaderAttribute::AlphaTest;
    shader.alphaTestFunction = 0x617;
    EXPECT_EQ(MakeGroupShading(VA::Position, &shader, "mesh").description.alphaFunction, 0u);
}

}  // namespace
