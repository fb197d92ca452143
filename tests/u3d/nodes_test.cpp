// Node blocks and the node tree: parents, instances, pending children, auto-correction.

#include <gtest/gtest.h>

#include "support/LogCapture.h"
#include "u3dwriter/U3DWriter.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/BitStreamReader.h"
#include "u3d/NodeBlocks.h"

using namespace U3DWriter;

namespace {

using namespace Velmora::U3D;
using Velmora::Test::LogCapture;

std::shared_ptr<AuthoringPool_U3D> Load(const U3DFileWriter& w) {
    auto pool = Velmora::FormatGlue::AuthoringPool::Create(new AuthoringPool_U3D(), nullptr, nullptr);
    if (!pool->LoadFromMemory(w.Bytes().data(), uint32_t(w.Bytes().size()), nullptr)) return nullptr;
    return pool;
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
    EXPECT_TRUE(log.Has("Parent 'nowhere' for node 'orphan' not found -> REPARENTED TO ROOT!", 2));
    EXPECT_TRUE(pool->NodePool().Pending().empty());
}

TEST(NodeTree, PendingChainsResolveAmongThemselves) {
    // c waits for b, b waits for a, a arrives last.
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF21, GroupNodeBlock("c", {{"b"}}));
    w.AddBlock(0xFFFFFF21, GroupNodeBlock("b", {{"a"}}));
    w.AddBlock(0xFFFFFF21, GroupNodeBlock("x", {{"y"}}));  // x and y wait for each other
    w.AddBlock(0xFFFFFF21, GroupNodeBlock("y", {{"x"}}));
    auto pool = Load(w);
    ASSERT_TRUE(pool);
    auto root = pool->NodePool().GetRoot();
    // Neither a nor the x/y cycle has a real parent: they hang below the root, each pending
    // node below its pending parent, and the tree has no cycle.
    auto b = Child(root, "b");
    ASSERT_TRUE(b);
    EXPECT_TRUE(Child(b, "c"));
    EXPECT_LT(root->CountDescendants(), 10u);
}

TEST(NodeTree, SelfNamedChainsStayLinear) {
    // Many nodes named alike, each naming that name as parent: every lookup meets each
    // object once, so the load stays fast however the instances multiply.
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF21, GroupNodeBlock("n", {{""}}));
    for (int i = 0; i < 60; ++i) w.AddBlock(0xFFFFFF21, GroupNodeBlock("n", {{"n"}}));
    auto pool = Load(w);
    ASSERT_TRUE(pool);
    EXPECT_LE(pool->NodePool().GetRoot()->CountDescendants(1000), 1000u);
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
    EXPECT_TRUE(log.Has("ViewNode cam is using unsupported 2-point Perspective Projection", 2));
}

TEST(NodeTree, ZeroRowsAreMendedRowByRow) {
    ParentEntry p{""};
    for (float& v : p.transform) v = 0.0f;
    p.transform[3] = 7.0f;  // row 0 keeps its fourth value
    p.transform[12] = 1.0f;
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF21, GroupNodeBlock("z", {p}));
    LogCapture log;
    auto pool = Load(w);
    ASSERT_TRUE(pool);
    auto z = Child(pool->NodePool().GetRoot(), "z");
    ASSERT_TRUE(z);
    EXPECT_EQ(log.Count("bad input data for parent.transform, trying to auto-correct! (Node: 'z')", 2), 3u);
    EXPECT_EQ(z->transform[0], 1.0f);
    EXPECT_EQ(z->transform[5], 1.0f);
    EXPECT_EQ(z->transform[10], 1.0f);
    EXPECT_EQ(z->transform[15], 0.0f);
    EXPECT_EQ(z->transform[3], 7.0f);
}

TEST(NodeTree, NodeWithoutParentsIsDroppedQuietly) {
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF21, GroupNodeBlock("lonely", {}));
    LogCapture log;
    auto pool = Load(w);
    ASSERT_TRUE(pool);
    EXPECT_TRUE(log.Has("Unable to create authoring node for 'lonely' - no parents available!", 2));
    EXPECT_EQ(pool->BlocksFailed(), 0u);
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

TEST(NodeTree, PrintShowsTheTreeAtHighLogLevels) {
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF21, GroupNodeBlock("g", {{""}}));
    w.AddBlock(0xFFFFFF22, ModelNodeBlock("m", {{"g"}}, "mesh"));
    LogCapture log(5);
    ASSERT_TRUE(Load(w));
    EXPECT_TRUE(log.Has("SceneNodes:", 0));
    EXPECT_TRUE(log.Has("  [Group] g", 0));
    EXPECT_TRUE(log.Has("    [Model] m", 0));
}

}  // namespace
