// Deferred normal prediction of progressive updates: which normals get predicted, when, and
// where the corners' normal indices end up.

#include <gtest/gtest.h>

#include <vector>

#include "u3d/CLODMeshData.h"
#include "u3d/PendingNormals.h"

namespace {

using namespace Velmora::U3D;

constexpr Vec3f kZero{0, 0, 0};

// Records one position's step whose faces all have the normal `faceNormal`: the prediction
// is then that normal, or its opposite where `turned`. Returns the index of its normal.
uint32_t AddStep(PendingNormals& pending, std::vector<Vec3f>& normals, const Vec3f& faceNormal, uint32_t faces,
                 bool turned) {
    Vec3f* room = pending.FaceNormalRoom(faces);
    for (uint32_t i = 0; i < faces; ++i) room[i] = faceNormal;
    const uint32_t index = static_cast<uint32_t>(normals.size());
    pending.AddStep(faces, faces, index, 1);
    pending.AddNormal(turned);
    normals.push_back(kZero);
    return index;
}

TEST(PendingNormals, OnlyNormalsACornerStillTakesArePredicted) {
    std::vector<CLODFace> faces(2);
    std::vector<Vec3f> normals{{0, 0, 1}};  // from the base mesh
    PendingNormals pending;
    pending.BeginBlock(faces, normals);
    const uint32_t taken = AddStep(pending, normals, {1, 0, 0}, 3, true);
    const uint32_t replaced = AddStep(pending, normals, {0, 1, 0}, 2, false);
    pending.SetCorner(0, 1, replaced);
    pending.SetCorner(0, 1, taken);  // a later step takes the corner over
    pending.SetCorner(1, 2, taken);
    pending.EndBlock(normals);
    EXPECT_EQ(normals[taken], kZero);  // not before the load completes or a block later

    pending.Resolve(faces, normals);
    EXPECT_EQ(normals[0], (Vec3f{0, 0, 1}));
    EXPECT_EQ(normals[taken], (Vec3f{-1, 0, 0}));
    EXPECT_EQ(normals[replaced], kZero);
    EXPECT_EQ(faces[0].normals[1], taken);
    EXPECT_EQ(faces[1].normals[2], taken);
    EXPECT_EQ(faces[0].normals[0], 0u);
}

TEST(PendingNormals, NormalStillTakenAfterTheNextBlockIsPredictedThen) {
    std::vector<CLODFace> faces(3);
    std::vector<Vec3f> normals;
    PendingNormals pending;
    pending.BeginBlock(faces, normals);
    const uint32_t first = AddStep(pending, normals, {0, 0, 1}, 2, false);
    pending.SetCorner(0, 0, first);
    pending.EndBlock(normals);

    pending.BeginBlock(faces, normals);
    const uint32_t second = AddStep(pending, normals, {0, 1, 0}, 4, false);
    pending.SetCorner(1, 0, second);
    pending.EndBlock(normals);
    EXPECT_EQ(normals[first], (Vec3f{0, 0, 1}));
    EXPECT_EQ(normals[second], kZero);

    // Normals that arrive outside the updates while some are pending settle those first.
    normals.push_back({1, 0, 0});
    faces.emplace_back();
    faces.back().normals = {3, 3, 3};
    pending.BeginBlock(faces, normals);
    EXPECT_EQ(normals[second], (Vec3f{0, 1, 0}));
    EXPECT_EQ(faces[1].normals[0], second);

    const uint32_t third = AddStep(pending, normals, {0, 0, -1}, 1, true);
    pending.SetCorner(3, 1, third);
    pending.EndBlock(normals);
    pending.Resolve(faces, normals);
    EXPECT_EQ(normals[third], (Vec3f{0, 0, 1}));
    EXPECT_EQ(faces[3].normals, (std::array<uint32_t, 3>{3, third, 3}));
    EXPECT_EQ(faces[0].normals[0], first);
}

}  // namespace
