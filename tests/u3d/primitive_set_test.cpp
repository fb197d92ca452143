// Point and line sets: reading, building and hostile blocks.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "build_support.h"
#include "mesh_support.h"
#include "u3d/PrimitiveSetData.h"

namespace {

using namespace Velmora::U3D;
using Velmora::U3D::Test::MeshBlockWalk;
using Velmora::U3D::Test::TestFile;

TEST(PrimitiveSetProbe, Dump) {
    for (const char* file : {"pointset.u3d", "lineset.u3d", "lineset_grid.u3d"}) {
        AuthorMeshPool pool;
        MeshBlockWalk walk(pool);
        Velmora::U3D::Test::ScopedLogCapture cap;
        ASSERT_TRUE(walk.Walk(TestFile(file)));
        for (auto& l : cap.capture->AtLevel(1)) std::printf("E %s\n", l.c_str());
        std::printf("%s failed=%d meshes=%zu removed=%zu\n", file, walk.failedBlocks, pool.meshes.size(),
                    pool.removedMeshes.size());
        for (auto& [name, mesh] : pool.meshes) {
            auto* c = mesh->continuation.get();
            std::printf(" %s prims=%u pos=%zu nrm=%zu\n", name.c_str(), c->primitiveCount, c->positions.size(),
                        c->normals.size());
            for (auto& p : c->positions) std::printf("  p %.4f %.4f %.4f\n", p[0], p[1], p[2]);
            for (auto& n : c->normals)
                std::printf("  n %.4f %.4f %.4f |%.4f|\n", n[0], n[1], n[2],
                            std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]));
            if (auto* l = mesh->ContinuationAs<LineSetContinuationData>())
                for (auto& r : l->primitives)
                    std::printf("  l %u-%u n%u/%u\n", r.positions[0], r.positions[1], r.normals[0], r.normals[1]);
            if (auto* l = mesh->ContinuationAs<PointSetContinuationData>())
                for (auto& r : l->primitives) std::printf("  pt %u n%u\n", r.positions[0], r.normals[0]);
        }
    }
}

}  // namespace
