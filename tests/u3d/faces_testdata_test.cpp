// Every CLOD mesh of the third-party U3D files must reach the face count its declaration
// promises, without a single error on the way: the progressive updates leave no room for
// an approximate decoder, as one wrong value derails everything after it.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "mesh_support.h"
#include "u3d/CLODMeshData.h"

namespace {

using namespace Velmora::U3D;
using Velmora::U3D::Test::MeshBlockWalk;
using Velmora::U3D::Test::ScopedLogCapture;

struct FacesEntry {
    std::string file;
    uint64_t faceSum = 0;
    uint32_t declarations = 0;
};

std::vector<FacesEntry> LoadFacesTable() {
    std::vector<FacesEntry> entries;
    std::ifstream in(std::string(KESTRUM_TESTDATA) + "/u3d/faces.tsv");
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        FacesEntry entry;
        uint64_t size = 0;
        if (fields >> entry.file >> size >> entry.faceSum >> entry.declarations)
            entries.push_back(entry);
    }
    return entries;
}

// Checks the final state of one mesh for consistency: every index a face holds refers to an
// existing entry, so a renderable mesh can be built from it without further checks.
void ExpectConsistent(const AuthorMesh& mesh) {
    const auto* decl = mesh.DeclarationAs<CLODMeshData>();
    const auto* data = mesh.ContinuationAs<CLODMeshContinuationData>();
    ASSERT_TRUE(decl && data);
    ASSERT_EQ(data->primitives.size(), data->primitiveCount);
    for (uint32_t i = 0; i < data->primitiveCount; ++i) {
        const CLODFace& face = data->primitives[i];
        ASSERT_LT(face.shadingId, decl->shadingDescriptions.size()) << mesh.name << " face " << i;
        const ShadingDescription& shading = decl->shadingDescriptions[face.shadingId];
        for (int c = 0; c < 3; ++c) {
            ASSERT_LT(face.positions[c], data->positions.size()) << mesh.name << " face " << i;
            if (decl->HasNormals()) {
                ASSERT_LT(face.normals[c], data->normals.size()) << mesh.name << " face " << i;
            }
            if (shading.HasDiffuse()) {
                ASSERT_LT(face.diffuse[c], data->diffuseColors.size()) << mesh.name;
            }
            if (shading.HasSpecular()) {
                ASSERT_LT(face.specular[c], data->specularColors.size()) << mesh.name;
            }
            for (uint32_t l = 0; l < std::min(shading.layerCount, 8u); ++l)
                ASSERT_LT(face.texCoords[l][c], data->texCoords.size()) << mesh.name << " layer " << l;
        }
    }
}

TEST(FacesTestdata, EveryCLODMeshReachesItsDeclaredFaceCount) {
    const auto entries = LoadFacesTable();
    ASSERT_GT(entries.size(), 40u);
    for (const FacesEntry& entry : entries) {
        SCOPED_TRACE(entry.file);
        ScopedLogCapture log;
        AuthorMeshPool pool;
        MeshBlockWalk walk(pool);
        ASSERT_TRUE(walk.Walk(std::string(KESTRUM_TESTDATA) + "/u3d/" + entry.file));
        EXPECT_EQ(walk.failedBlocks, 0);
        EXPECT_TRUE(pool.removedMeshes.empty());
        EXPECT_EQ(log.capture->AtLevel(1), std::vector<std::string>{});

        uint64_t declaredSum = 0, reachedSum = 0;
        uint32_t declarations = 0;
        for (const auto& [name, mesh] : pool.meshes) {
            const auto* decl = mesh->DeclarationAs<CLODMeshData>();
            if (!decl) continue;
            ++declarations;
            declaredSum += decl->faceCount;
            reachedSum += mesh->continuation->primitiveCount;
            EXPECT_EQ(mesh->continuation->primitiveCount, decl->faceCount) << name;
            EXPECT_EQ(mesh->continuation->positions.size(), decl->positionCount) << name;
            ExpectConsistent(*mesh);
        }
        EXPECT_EQ(declarations, entry.declarations);
        EXPECT_EQ(declaredSum, entry.faceSum);
        EXPECT_EQ(reachedSum, entry.faceSum);
    }
}

}  // namespace
