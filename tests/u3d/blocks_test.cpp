// Resource and node blocks: lights, materials, shaders, textures and the node tree.

#include <gtest/gtest.h>

#include "support/LogCapture.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/NodeBlocks.h"
#include "u3dwriter/U3DWriter.h"

using namespace U3DWriter;

namespace {

using namespace Velmora::U3D;
using Velmora::Test::LogCapture;

std::shared_ptr<AuthoringPool_U3D> Load(const U3DFileWriter& w) {
    auto pool = Velmora::FormatGlue::AuthoringPool::Create(new AuthoringPool_U3D(), nullptr, nullptr);
    if (!pool->LoadFromMemory(w.Bytes().data(), uint32_t(w.Bytes().size()), nullptr)) return nullptr;
    return pool;
}

std::vector<uint8_t> Light(const std::string& name, uint8_t type, uint32_t attributes, float angle, float intensity) {
    BitStreamWriter w;
    w.WriteString(name);
    w.WriteU32(attributes);
    w.WriteU8(type);
    for (float v : {0.25f, 0.5f, 0.75f, 9.0f}) w.WriteF32(v);
    for (float v : {1.0f, 0.5f, 0.25f}) w.WriteF32(v);
    w.WriteF32(angle);
    w.WriteF32(intensity);
    return w.Finish();
}

TEST(Lights, NinthLightIsRefusedAmbientReplaces) {
    U3DFileWriter w;
    for (int i = 0; i < 9; ++i) w.AddBlock(0xFFFFFF51, Light("l" + std::to_string(i), 2, 0, 0, 1.0f));
    w.AddBlock(0xFFFFFF51, Light("amb1", 0, 0, 0, 1.0f));
    w.AddBlock(0xFFFFFF51, Light("amb2", 0, 0, 0, 1.0f));
    LogCapture log;
    auto pool = Load(w);
    ASSERT_TRUE(pool);
    const AuthorLightPool& lights = pool->LightPool();
    EXPECT_EQ(lights.lightCount, 8u);
    EXPECT_EQ(lights.droppedLights, 1u);
    EXPECT_EQ(lights.ambientName, "amb2");
    EXPECT_EQ(lights.ambientColor[2], 0.75f);
    EXPECT_EQ(lights.ambientColor[3], 0.0f);
    EXPECT_EQ(lights.FindLight("l7")->lightIndex, 7u);
}

TEST(Lights, SpotAndIntensityRules) {
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF51, Light("spot", 3, 0x2 | 0x4, 60.0f, 2.0f));
    w.AddBlock(0xFFFFFF51, Light("dir", 1, 0, 60.0f, 1.0f));
    w.AddBlock(0xFFFFFF51, Light("bad", 7, 0, 0, 1.0f));
    LogCapture log;
    auto pool = Load(w);
    ASSERT_TRUE(pool);
    const auto* spot = pool->LightPool().FindLight("spot");
    ASSERT_TRUE(spot);
    EXPECT_NEAR(spot->data.spotCutoff, 0.5f, 1e-5);  // cosine of the full angle, not halved
    EXPECT_EQ(spot->data.spotExponent, 50.0f);
    EXPECT_EQ(spot->data.specular[1], 0.5f);  // specular takes the colour with bit 0x2
    EXPECT_EQ(spot->data.diffuse[3], 0.0f);   // the fourth value read is thrown away
    EXPECT_EQ(spot->data.attenuation[2], 0.25f);
    const auto* dir = pool->LightPool().FindLight("dir");
    ASSERT_TRUE(dir);
    EXPECT_EQ(dir->data.spotCutoff, -1.0f);
    EXPECT_EQ(dir->data.spotExponent, 10.0f);
    EXPECT_EQ(dir->data.specular[0], 0.0f);
    EXPECT_EQ(pool->BlocksFailed(), 0u);
}

std::vector<uint8_t> Shader(const std::string& name, uint32_t channels, uint32_t layersWritten) {
    BitStreamWriter w;
    w.WriteString(name);
    w.WriteU32(1);
    w.WriteF32(0.5f);
    w.WriteU32(0x617);
    w.WriteU32(0x606);
    w.WriteU32(1);
    w.WriteU32(channels);
    w.WriteU32(0);
    w.WriteString("mat");
    for (uint32_t i = 0; i < layersWritten; ++i) {
        w.WriteString("tex" + std::to_string(i));
        w.WriteF32(1.0f);
        w.WriteU8(2);
        w.WriteU8(0);
        w.WriteF32(0.5f);
        w.WriteU8(0);
        for (int k = 0; k < 32; ++k) w.WriteF32(k == 0 ? 2.0f : 0.0f);
        w.WriteU8(1);
    }
    return w.Finish();
}

TEST(Shaders, LayersArePackedFromTheLowEightChannels) {
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF53, Shader("s5", 0x5, 2));
    w.AddBlock(0xFFFFFF53, Shader("s100", 0x100, 0));
    w.AddBlock(0xFFFFFF53, Shader("s5", 0, 0));
    LogCapture log;
    auto pool = Load(w);
    ASSERT_TRUE(pool);
    auto s5 = pool->ShaderPool().FindShader("s5");
    ASSERT_TRUE(s5);
    ASSERT_EQ(s5->layerCount, 2u);
    EXPECT_EQ(s5->layers[1].textureName, "tex1");
    EXPECT_EQ(s5->layers[1].blendFunction, 2u);
    EXPECT_EQ(s5->layers[1].textureTransform[0], 2.0f);
    EXPECT_EQ(s5->layers[1].repeat, 1u);
    EXPECT_EQ(s5->materialName, "mat");
    EXPECT_EQ(pool->ShaderPool().FindShader("s100")->layerCount, 0u);
    EXPECT_FALSE(pool->ShaderPool().FindShader("absent"));
}

TEST(Shaders, ShadingModifierListsAndBounds) {
    BitStreamWriter good;
    good.WriteString("node");
    good.WriteU32(2);
    good.WriteU32(1);
    good.WriteU32(2);
    good.WriteU32(2);
    good.WriteString("a");
    good.WriteString("b");
    good.WriteU32(1);
    good.WriteString("c");
    BitStreamWriter absurd;
    absurd.WriteString("other");
    absurd.WriteU32(0);
    absurd.WriteU32(0);
    absurd.WriteU32(0xFFFFFFF0);
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF45, good);
    w.AddBlock(0xFFFFFF45, absurd);
    auto pool = Load(w);
    ASSERT_TRUE(pool);
    auto group = pool->ShaderPool().FindShadingModifier("node");
    ASSERT_TRUE(group);
    EXPECT_EQ(group->chainIndex, 2u);
    ASSERT_EQ(group->shaderLists.size(), 2u);
    EXPECT_EQ(group->shaderLists[0], (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(group->shaderLists[1], (std::vector<std::string>{"c"}));
    EXPECT_FALSE(pool->ShaderPool().FindShadingModifier("other"));
    EXPECT_EQ(pool->BlocksFailed(), 1u);
}

std::vector<uint8_t> TextureDecl(const std::string& name, uint32_t w, uint32_t h, uint8_t type,
                                 const std::vector<uint32_t>& byteCounts) {
    BitStreamWriter b;
    b.WriteString(name);
    b.WriteU32(h);
    b.WriteU32(w);
    b.WriteU8(type);
    b.WriteU32(uint32_t(byteCounts.size()));
    for (uint32_t count : byteCounts) {
        b.WriteU8(2);
        b.WriteU8(0x0E);
        b.WriteU16(0);
        b.WriteU32(count);
    }
    return b.Finish();
}

std::vector<uint8_t> TextureCont(const std::string& name, uint32_t index, const std::vector<uint8_t>& bytes) {
    BitStreamWriter b;
    b.WriteString(name);
    b.WriteU32(index);
    b.WriteBytes(bytes.data(), bytes.size());
    return b.Finish();
}

TEST(Textures, PiecesJoinAndOverflowIsRefused) {
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF55, TextureDecl("t", 4, 4, 14, {6}));
    w.AddBlock(0xFFFFFF5C, TextureCont("t", 0, {1, 2, 3}));
    w.AddBlock(0xFFFFFF5C, TextureCont("t", 0, {4, 5, 6}));
    w.AddBlock(0xFFFFFF5C, TextureCont("t", 0, {7}));
    w.AddBlock(0xFFFFFF5C, TextureCont("t", 1, {7}));
    w.AddBlock(0xFFFFFF5C, TextureCont("nope", 0, {7}));
    LogCapture log;
    auto pool = Load(w);
    ASSERT_TRUE(pool);
    auto t = pool->TexturePool().FindTexture("t");
    ASSERT_TRUE(t);
    EXPECT_EQ(t->width, 4u);
    EXPECT_EQ(t->rawImages[0].bytes, (std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
    EXPECT_TRUE(t->Complete());
    EXPECT_EQ(pool->BlocksFailed(), 0u);
}

AuthorNodeHandle Child(const AuthorNodeHandle& node, const std::string& name) {
    auto it = node->children.find(name);
    return it != node->children.end() ? it->second : nullptr;
}

TEST(NodeTree, TwoParentEntriesGiveTwoInstancesSharingData) {
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF21, GroupNodeBlock("g1", {{""}}));
    w.AddBlock(0xFFFFFF21, GroupNodeBlock("g2", {{"PDF3D Scene"}}));
    ParentEntry p1{"g1"}, p2{"g2"};
    p2.transform[12] = 5.0f;
    w.AddBlock(0xFFFFFF22, ModelNodeBlock("box", {p1, p2}, "boxMesh", 3));
    auto pool = Load(w);
    ASSERT_TRUE(pool);
    auto root = pool->NodePool().GetRoot();
    EXPECT_EQ(root->name, "___World");
    auto g1 = Child(root, "g1"), g2 = Child(root, "g2");
    ASSERT_TRUE(g1 && g2);
    auto a = Child(g1, "box"), b = Child(g2, "box");
    ASSERT_TRUE(a && b);
    EXPECT_EQ(a->instanceName, "box_p0");
    EXPECT_EQ(b->instanceName, "box_p1");
    EXPECT_EQ(a->data, b->data);
    EXPECT_EQ(a->kind, AuthorNode::Model);
    EXPECT_EQ(b->transform[12], 5.0f);
    auto* model = dynamic_cast<ModelNodeData*>(a->data.get());
    ASSERT_TRUE(model);
    EXPECT_EQ(model->resourceName, "boxMesh");
    EXPECT_EQ(model->visibility, 3u);
}

TEST(NodeTree, ChildBeforeParentAndMissingParents) {
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF22, ModelNodeBlock("child", {{"parent"}}, "m"));
    w.AddBlock(0xFFFFFF22, ModelNodeBlock("orphan", {{"nowhere"}}, "m"));
    w.AddBlock(0xFFFFFF21, GroupNodeBlock("parent", {{""}}));
    LogCapture log;
    auto pool = Load(w);
    ASSERT_TRUE(pool);
    auto root = pool->NodePool().GetRoot();
    auto parent = Child(root, "parent");
    ASSERT_TRUE(parent);
    EXPECT_TRUE(Child(parent, "child"));
    EXPECT_FALSE(Child(root, "child"));
    EXPECT_TRUE(Child(root, "orphan"));
    EXPECT_TRUE(pool->NodePool().Pending().empty());
}

TEST(NodeTree, LightsAndViewsStayOutOfTheTree) {
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF23, LightNodeBlock("lamp", {{""}}, "light0"));
    BitStreamWriter view;
    view.WriteString("cam");
    view.WriteU32(1);
    view.WriteString("");
    for (float v : ParentEntry{}.transform) view.WriteF32(v);
    view.WriteString("viewRes");
    view.WriteU32(4);  // 2-point perspective
    view.WriteF32(0.5f);
    view.WriteF32(100.0f);
    view.WriteF32(1.0f);
    view.WriteF32(2.0f);
    view.WriteF32(3.0f);
    for (float v : {640.0f, 480.0f, 1.0f, 2.0f}) view.WriteF32(v);
    w.AddBlock(0xFFFFFF24, view);
    LogCapture log;
    auto pool = Load(w);
    ASSERT_TRUE(pool);
    EXPECT_TRUE(pool->NodePool().GetRoot()->children.empty());
    ASSERT_EQ(pool->NodePool().LightNodes().count("lamp"), 1u);
    ASSERT_EQ(pool->NodePool().ViewNodes().count("cam"), 1u);
    auto* data = dynamic_cast<ViewNodeData*>(pool->NodePool().ViewNodes().find("cam")->second->data.get());
    ASSERT_TRUE(data);
    EXPECT_EQ(data->projectionVector[2], 3.0f);
    EXPECT_EQ(data->viewportWidth, 640.0f);
    EXPECT_EQ(data->viewportY, 2.0f);
}

TEST(NodeTree, AbsurdParentCountFailsTheBlock) {
    BitStreamWriter w;
    w.WriteString("n");
    w.WriteU32(0x40000000);
    U3DFileWriter file;
    file.AddBlock(0xFFFFFF21, w);
    auto pool = Load(file);
    ASSERT_TRUE(pool);
    EXPECT_EQ(pool->BlocksFailed(), 1u);
}

}  // namespace
