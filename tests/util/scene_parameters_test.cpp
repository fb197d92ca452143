// Flat -> owned request records: source precedence, private buffers, view string filtering.

#include <gtest/gtest.h>

#include <cstring>

#include "util/SceneParameters.h"

namespace {

using Velmora::Utility::ToOwned;

Kestrum::LoadSceneParameters FlatLoad(uint32_t flags) {
    Kestrum::LoadSceneParameters flat;
    std::memset(&flat, 0, sizeof flat);
    flat.flags = flags;
    return flat;
}

TEST(SceneParameters, MemoryWinsOverFileAndHandleAndIsAPrivateCopy) {
    uint8_t bytes[5] = {1, 2, 3, 4, 5};
    Kestrum::LoadSceneParameters flat = FlatLoad(7);
    flat.path = u"/some/scene.u3d";
    flat.sceneHandle = 9;
    flat.data = bytes;
    flat.dataSize = sizeof bytes;
    auto owned = ToOwned(flat);
    EXPECT_EQ(owned.flags, 7u);
    EXPECT_TRUE(owned.path.empty());
    EXPECT_EQ(owned.sceneHandle, 0u);
    ASSERT_EQ(owned.DataSize(), 5u);
    EXPECT_NE(owned.Data(), bytes);
    bytes[0] = 99;
    EXPECT_EQ(owned.Data()[0], 1);
    EXPECT_EQ(owned.Data()[4], 5);
}

TEST(SceneParameters, FileBeforeHandleAndHandleOnlyWhenHighest) {
    Kestrum::LoadSceneParameters flat = FlatLoad(3);
    flat.path = u"/tmp/\u00e9t\u00e9 \U0001F600.prc";
    flat.sceneHandle = 12;
    auto owned = ToOwned(flat);
    EXPECT_EQ(owned.path, "/tmp/\xc3\xa9t\xc3\xa9 \xf0\x9f\x98\x80.prc");
    EXPECT_EQ(owned.sceneHandle, 0u);
    flat.flags = 1;
    owned = ToOwned(flat);
    EXPECT_TRUE(owned.path.empty());
    EXPECT_EQ(owned.sceneHandle, 12u);
}

TEST(SceneParameters, EmptyViewStringsAreDroppedWithoutHoles) {
    const char16_t* strings[] = {u"first", u"", nullptr, u"second"};
    Kestrum::LoadSceneParameters flat = FlatLoad(2);
    flat.viewStrings = strings;
    flat.viewStringCount = 4;
    flat.viewStringFlags = 1;
    flat.selectedViewIndex = 1;
    flat.userTag = 77;
    auto owned = ToOwned(flat);
    ASSERT_EQ(owned.viewStrings.size(), 2u);
    EXPECT_EQ(owned.viewStrings[0], "first");
    EXPECT_EQ(owned.viewStrings[1], "second");
    EXPECT_EQ(owned.viewStringFlags, 1u);
    EXPECT_EQ(owned.selectedViewIndex, 1u);
    EXPECT_EQ(owned.userTag, 77u);
    flat.viewStringCount = -3;
    EXPECT_TRUE(ToOwned(flat).viewStrings.empty());
    flat.viewStringCount = 4;
    flat.viewStrings = nullptr;
    EXPECT_TRUE(ToOwned(flat).viewStrings.empty());
}

}  // namespace
