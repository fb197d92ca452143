// The compact face records that the progressive updates consult must follow the full face
// records through every move, and a face normal cached in them must belong to the face's
// present corners: a corner that moves without forgetting the normal would leave the
// neighbourhood's predicted normals quietly wrong.

#include <gtest/gtest.h>

#include <cmath>

#include "mesh_support.h"
#include "u3d/CLODMeshData.h"

namespace {

using namespace Velmora::U3D;
using Velmora::U3D::Test::MeshBlockWalk;
using Velmora::U3D::Test::ScopedLogCapture;

double Dot(const Vec3f& a, const Vec3f& b) {
    return double(a[0]) * b[0] + double(a[1]) * b[1] + double(a[2]) * b[2];
}
Vec3f Edge(const Vec3f& from, const Vec3f& to) { return {to[0] - from[0], to[1] - from[1], to[2] - from[2]}; }

// Files whose meshes are mostly built by progressive updates, with corners moved by splits.
class FaceRecords : public ::testing::TestWithParam<const char*> {};

TEST_P(FaceRecords, FollowTheFacesAndCacheOnlyNormalsOfTheirPresentCorners) {
    ScopedLogCapture log;
    AuthorMeshPool pool;
    MeshBlockWalk walk(pool);
    ASSERT_TRUE(walk.Walk(std::string(KESTRUM_TESTDATA) + "/u3d/" + GetParam()));
    ASSERT_EQ(walk.failedBlocks, 0);
    size_t cached = 0;
    for (const auto& [name, mesh] : pool.meshes) {
        const auto* data = mesh->ContinuationAs<CLODMeshContinuationData>();
        if (!data) continue;
        ASSERT_EQ(data->faceCorners.size(), data->primitives.size()) << name;
        for (size_t i = 0; i < data->primitives.size(); ++i) {
            const FaceCorners& record = data->faceCorners[i];
            ASSERT_EQ(record.positions, data->primitives[i].positions) << name << " face " << i;
            ASSERT_EQ(record.shadingId, data->primitives[i].shadingId) << name << " face " << i;
            if (record.normalState != FaceCorners::kNormalValid) continue;
            ++cached;
            const Vec3f& p0 = data->positions[record.positions[0]];
            const Vec3f e1 = Edge(p0, data->positions[record.positions[1]]);
            const Vec3f e2 = Edge(p0, data->positions[record.positions[2]]);
            // Unit length, and at right angles to both edges as they are now.
            EXPECT_NEAR(Dot(record.normal, record.normal), 1.0, 1e-5) << name << " face " << i;
            EXPECT_NEAR(Dot(record.normal, e1) / std::sqrt(Dot(e1, e1)), 0.0, 1e-4) << name << " face " << i;
            EXPECT_NEAR(Dot(record.normal, e2) / std::sqrt(Dot(e2, e2)), 0.0, 1e-4) << name << " face " << i;
        }
    }
    EXPECT_GT(cached, 0u);
}

INSTANTIATE_TEST_SUITE_P(Testdata, FaceRecords,
                         ::testing::Values("shape.u3d", "plane64x64.u3d", "sphere_shading.u3d",
                                           "bearing.u3d"));

}  // namespace
