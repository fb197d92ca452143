// Every interop file decodes to the same meshes as it always has: positions, faces (in their
// order) and the other attribute arrays hash to the values recorded when the decoder was
// last known good, and every normal of a progressive update that a face takes agrees with
// an independent computation from the faces around its position to 1e-5.
//
// A changed hash means the decode itself changed. If that change is intended, the new value
// is printed by the failing check.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "mesh_support.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/CLODMeshData.h"

namespace {

using namespace Velmora::U3D;
using Velmora::U3D::Test::ScopedLogCapture;

class Fnv1a {
public:
    void Bytes(const void* data, size_t size) {
        const auto* p = static_cast<const uint8_t*>(data);
        for (size_t i = 0; i < size; ++i) value_ = (value_ ^ p[i]) * kPrime;
    }
    void U64(uint64_t v) { Bytes(&v, sizeof v); }
    template <typename T>
    void Array(const std::vector<T>& items) {
        U64(items.size());
        Bytes(items.data(), items.size() * sizeof(T));
    }
    uint64_t Value() const { return value_; }

private:
    static constexpr uint64_t kPrime = 0x100000001b3ull;
    uint64_t value_ = 0xcbf29ce484222325ull;
};

// A face as one record with its colours and all eight tex coord layers, zeros for what the
// mesh does not keep: the stored hashes were taken of faces in that form.
void HashFace(Fnv1a& hash, const CLODMeshContinuationData& data, uint32_t index) {
    const CLODFace& face = data.primitives[index];
    hash.Bytes(face.positions.data(), sizeof face.positions);
    hash.Bytes(face.normals.data(), sizeof face.normals);
    const CornerIndices diffuse = data.Diffuse(index);
    const CornerIndices specular = data.Specular(index);
    hash.Bytes(diffuse.data(), sizeof diffuse);
    hash.Bytes(specular.data(), sizeof specular);
    std::array<CornerIndices, ShadingDescription::kMaxLayers> layers{};
    for (uint32_t layer = 0; layer < layers.size(); ++layer) layers[layer] = data.TexCoords(index, layer);
    hash.Bytes(layers.data(), sizeof layers);
    hash.U64(face.shadingId);
}

// Everything a load keeps of the meshes except the normal values, which only have to stay
// within tolerance (their count is hashed).
uint64_t HashMeshes(const AuthorMeshPool& pool) {
    Fnv1a hash;
    for (const auto& [name, mesh] : pool.meshes) {
        hash.Bytes(name.data(), name.size());
        const AuthorMeshContinuationData* data = mesh->continuation.get();
        if (!data) continue;
        hash.Array(data->positions);
        hash.U64(data->normals.size());
        hash.Array(data->diffuseColors);
        hash.Array(data->specularColors);
        hash.Array(data->texCoords);
        hash.U64(data->primitiveCount);
        if (const auto* clod = mesh->ContinuationAs<CLODMeshContinuationData>()) {
            hash.U64(clod->primitives.size());
            for (uint32_t face = 0; face < clod->primitives.size(); ++face) HashFace(hash, *clod, face);
        }
    }
    for (const auto& [name, mesh] : pool.removedMeshes) hash.Bytes(name.data(), name.size());
    return hash.Value();
}

// Recorded from the decoder as it stood before its restructuring.
const std::map<std::string, uint64_t> kExpectedHashes = {
    {"ColorChannels.u3d", 0x78e8cc72c97d4b86ull},
    {"FileRefTest_DISCARD.u3d", 0x584af4ec92b32e65ull},
    {"FileRefTest_POSTMANGLE.u3d", 0x584af4ec92b32e65ull},
    {"FileRefTest_PREPENDCOLLIDED.u3d", 0x584af4ec92b32e65ull},
    {"FileRefTest_PREPEND_ALL.u3d", 0x584af4ec92b32e65ull},
    {"FileRefTest_REPLACE.u3d", 0x584af4ec92b32e65ull},
    {"SimpleShapesAnimation.u3d", 0xa9a18d165274e3e1ull},
    {"TextureLayers.u3d", 0x3a744788fe219df6ull},
    {"VertexColor.u3d", 0xafa4509712037670ull},
    {"bearing.u3d", 0x65a7e5963ba1b0e9ull},
    {"box.u3d", 0x3ee5ca7f6f45333cull},
    {"box_2shaders.u3d", 0x127788533f8ecd44ull},
    {"box_ba.u3d", 0x727d84f0d7a18daeull},
    {"box_base.u3d", 0x5dc44c2f82a55f11ull},
    {"box_bo.u3d", 0x3ee5ca7f6f45333cull},
    {"box_ga.u3d", 0x127788533f8ecd44ull},
    {"box_group.u3d", 0x127788533f8ecd44ull},
    {"box_la.u3d", 0x127788533f8ecd44ull},
    {"box_mp_view.u3d", 0x127788533f8ecd44ull},
    {"box_mpview_anim.u3d", 0x127788533f8ecd44ull},
    {"box_part_base.u3d", 0x32ebf22d4439192dull},
    {"box_ta.u3d", 0x127788533f8ecd44ull},
    {"box_ta_clodmod.u3d", 0x127788533f8ecd44ull},
    {"box_va.u3d", 0x127788533f8ecd44ull},
    {"box_vertex_color.u3d", 0x93ee8c5103d8cbbbull},
    {"file_ref.u3d", 0x3ee5ca7f6f45333cull},
    {"head.u3d", 0x9e301ce47594fb0full},
    {"lineset.u3d", 0x4d7849d69713d978ull},
    {"lineset_anim.u3d", 0x4d7849d69713d978ull},
    {"lineset_grid.u3d", 0x36adce03fdd47d52ull},
    {"metadata.u3d", 0x78e8cc72c97d4b86ull},
    {"metadata2.u3d", 0x78e8cc72c97d4b86ull},
    {"mp_box.u3d", 0x127788533f8ecd44ull},
    {"mp_box_light.u3d", 0x127788533f8ecd44ull},
    {"mp_box_light_direct.u3d", 0x127788533f8ecd44ull},
    {"mp_plane64_anim.u3d", 0x7ef60343f4a7a4c7ull},
    {"multiparent_anim.u3d", 0x35445c4ea7dea4ffull},
    {"plane100x100.u3d", 0xe10196907eac506dull},
    {"plane100x100_part_base.u3d", 0x221c6e77459edad7ull},
    {"plane64x64.u3d", 0xf067cae0b53e9869ull},
    {"plane64x64_base.u3d", 0x3c3c958dab71185bull},
    {"pointset.u3d", 0xe02af304e671a329ull},
    {"pointset_anim.u3d", 0xe02af304e671a329ull},
    {"shading.u3d", 0xa2627bba864356c2ull},
    {"shading2.u3d", 0x64d179a144d8ff46ull},
    {"shading2_base.u3d", 0x131a4f150a66aa4bull},
    {"shading_M.u3d", 0x2b88dc6499d6d031ull},
    {"shading_alpha.u3d", 0x16dd99b83add0c97ull},
    {"shading_lines_alpha.u3d", 0x70a1baa9caec398ull},
    {"shading_lines_alpha_tex1.u3d", 0x70a1baa9caec398ull},
    {"shape.u3d", 0x175a7df5c9f1864full},
    {"simpleBox.u3d", 0x8194cc8c7aa9861full},
    {"sphere_shading.u3d", 0x8291a3b215b818b8ull},
    {"sphere_ta_subdivmod.u3d", 0xa3034e929e2f01b8ull},
    {"surface.u3d", 0x643970bde935b4fbull},
    {"surface_base.u3d", 0x9ec355e4801fabb1ull},
    {"views.u3d", 0x3ee5ca7f6f45333cull},
};

// Plain scalar float arithmetic with the library's acos and sin, one position at a time.

using V = Vec3f;
V Sub(const V& a, const V& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
float Dot(const V& a, const V& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
V Cross(const V& a, const V& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
V Scaled(const V& v, float s) { return {v[0] * s, v[1] * s, v[2] * s}; }
V Normalized(const V& v) { return Scaled(v, 1.0f / std::sqrt(Dot(v, v))); }
bool Tiny(const V& v) { return std::fabs(v[0]) < 1e-7f && std::fabs(v[1]) < 1e-7f && std::fabs(v[2]) < 1e-7f; }

bool FaceNormal(const std::vector<V>& positions, const std::array<uint32_t, 3>& corners, V& out) {
    const V& p0 = positions[corners[0]];
    const V e1 = Sub(positions[corners[1]], p0);
    const V e2 = Sub(positions[corners[2]], p0);
    if (Tiny(e1) || Tiny(e2)) return false;
    const V n = Cross(Normalized(e1), Normalized(e2));
    if (Tiny(n)) return false;
    out = Normalized(n);
    return true;
}

// Spherical blend of unit vectors, t = 1 giving a; the short way round, linear when nearly
// parallel (blending a as given).
V Slerp(const V& a, const V& b, float t) {
    float d = Dot(a, b);
    V from = a;
    if (d < 0.0f) {
        from = Scaled(a, -1.0f);
        d = -d;
    }
    if (d > 0.9999999f) return {t * (a[0] - b[0]) + b[0], t * (a[1] - b[1]) + b[1], t * (a[2] - b[2]) + b[2]};
    const float theta = std::acos(d);
    const float s = std::sin(theta);
    const float wa = std::sin(t * theta) / s;
    const float wb = std::sin((1.0f - t) * theta) / s;
    return {wa * from[0] + wb * b[0], wa * from[1] + wb * b[1], wa * from[2] + wb * b[2]};
}

// The normals of one position: as many starting vectors as it takes (the first face normal,
// then each time the face normal least like all chosen), every face normal then pulling its
// closest one towards itself as a running spherical mean.
std::vector<V> PredictReference(const std::vector<V>& faceNormals, size_t count) {
    std::vector<V> predicted;
    if (count == 0) return predicted;
    const bool anyValid = !faceNormals.empty() && Dot(faceNormals[0], faceNormals[0]) > 0.0f;
    if (anyValid) predicted.push_back(faceNormals[0]);
    while (predicted.size() < count) {
        if (faceNormals.empty()) {
            predicted.push_back({0, 0, 0});
            continue;
        }
        float least = 1.0f;
        size_t pick = 0;
        for (size_t j = 0; j < faceNormals.size(); ++j) {
            float best = -2.0f;
            for (const V& chosen : predicted) best = std::max(best, Dot(faceNormals[j], chosen));
            if (best < least) {
                least = best;
                pick = j;
            }
        }
        predicted.push_back(faceNormals[pick]);
    }
    std::vector<uint32_t> merged(predicted.size(), 0);
    for (const V& normal : faceNormals) {
        size_t closest = 0;
        for (size_t k = 1; k < predicted.size(); ++k)
            if (Dot(normal, predicted[k]) > Dot(normal, predicted[closest])) closest = k;
        predicted[closest] = Slerp(normal, predicted[closest], 1.0f / static_cast<float>(merged[closest] + 1));
        ++merged[closest];
    }
    predicted.resize(count);
    return predicted;
}

// Expected normals of every mesh by index, filled as the decoder reports its normal steps.
// Positions are only ever appended, so the mesh's final positions serve every step.
class ReferenceNormals {
public:
    void Observe(const AuthorMesh& mesh, const NormalStepView& step) {
        const std::vector<V>& positions = mesh.continuation->positions;
        std::vector<V> faceNormals;
        size_t invalid = 0;
        for (const auto& corners : step.faceCorners) {
            V n{};
            ASSERT_TRUE(std::ranges::all_of(corners, [&](uint32_t p) { return p < positions.size(); }));
            if (FaceNormal(positions, corners, n))
                faceNormals.push_back(n);
            else
                ++invalid;
        }
        faceNormals.insert(faceNormals.end(), invalid, V{0, 0, 0});
        std::vector<V> predicted = PredictReference(faceNormals, step.turned.size());
        std::lock_guard<std::mutex> lock(mutex_);
        auto& expected = expected_[mesh.name];
        for (size_t i = 0; i < predicted.size(); ++i) {
            const size_t index = step.firstNormal + i;
            if (expected.size() <= index) expected.resize(index + 1, {NAN, NAN, NAN});
            expected[index] = step.turned[i] ? Scaled(predicted[i], -1.0f) : predicted[i];
        }
    }

    // Compares every normal that a face of the mesh takes, and returns the number checked.
    // The rest are replaced before the mesh is complete and are never predicted.
    size_t Check(const AuthorMeshPool& pool, const std::string& file) const {
        size_t checked = 0;
        for (const auto& [name, normals] : expected_) {
            auto mesh = pool.meshes.find(name);
            if (mesh == pool.meshes.end()) continue;  // dropped after a read error
            const std::vector<V>& actual = mesh->second->continuation->normals;
            EXPECT_LE(normals.size(), actual.size()) << file << " " << name;
            const auto* clod = mesh->second->ContinuationAs<CLODMeshContinuationData>();
            if (!clod) continue;
            std::vector<bool> taken(std::min(normals.size(), actual.size()));
            for (const CLODFace& face : clod->primitives)
                for (uint32_t i : face.normals)
                    if (i < taken.size()) taken[i] = true;
            for (size_t i = 0; i < taken.size(); ++i) {
                if (!taken[i] || std::isnan(normals[i][0])) continue;
                ++checked;
                for (int k = 0; k < 3; ++k)
                    if (std::fabs(normals[i][k] - actual[i][k]) > 1e-5f) {
                        ADD_FAILURE() << file << " " << name << " normal " << i << "[" << k << "]: " << actual[i][k]
                                      << " against " << normals[i][k];
                        return checked;
                    }
            }
        }
        return checked;
    }

private:
    std::mutex mutex_;
    std::map<std::string, std::vector<V>> expected_;
};

std::vector<std::string> InteropFiles() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(std::string(KESTRUM_TESTDATA) + "/u3d"))
        if (entry.path().extension() == ".u3d") names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(DecodeIdentity, EveryFileDecodesAsRecordedWithNormalsNearTheReference) {
    ScopedLogCapture log;  // some files carry blocks this reader refuses on purpose
    const std::vector<std::string> files = InteropFiles();
    ASSERT_FALSE(files.empty());
    size_t normalsChecked = 0;
    for (const std::string& file : files) {
        AuthoringPool_U3D pool;
        ASSERT_TRUE(pool.Init());
        ReferenceNormals reference;
        pool.MeshPool().normalStepObserver = [&](const AuthorMesh& mesh, const NormalStepView& step) {
            reference.Observe(mesh, step);
        };
        pool.LoadFromFile(std::string(KESTRUM_TESTDATA) + "/u3d/" + file, nullptr);
        const uint64_t hash = HashMeshes(pool.MeshPool());
        const auto expected = kExpectedHashes.find(file);
        if (expected == kExpectedHashes.end())
            ADD_FAILURE() << "no recorded hash: {\"" << file << "\", 0x" << std::hex << hash << "ull},";
        else
            EXPECT_EQ(hash, expected->second) << file << ": now 0x" << std::hex << hash;
        normalsChecked += reference.Check(pool.MeshPool(), file);
    }
    // head.u3d alone predicts tens of thousands.
    EXPECT_GT(normalsChecked, 10000u);
}

}  // namespace
