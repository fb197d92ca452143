#pragma once
// Small meshes for the traversal encoder's tests, and the round trip through the decoder:
// encode, decode the filled arrays, and match the decoded triangles to the source ones as
// unordered corner sets.

#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "format/AuthoringPool.h"
#include "obj/AuthorMeshPool.h"
#include "obj/AuthoringPool_OBJ.h"
#include "obj/MeshRowBuilder.h"
#include "prc/export/MeshTraversalEncode.h"
#include "prc/reader/Compressed3DTessDecoder.h"
#include "rendering/Mesh.h"

namespace Velmora::PRC::EncodeTest {

using Vec3 = std::array<float, 3>;

inline void AddTriangle(EncodeTriangles& m, const Vec3 (&corners)[3], const Vec3 (&normals)[3], int32_t face = 0) {
    for (int c = 0; c < 3; ++c) {
        m.indices.push_back(static_cast<uint32_t>(m.positions.size()));
        m.positions.push_back(corners[c]);
        m.normals.push_back(normals[c]);
    }
    m.faces.push_back(face);
}

// A flat-shaded unit cube: four rows of its own for each side.
inline EncodeTriangles Cube() {
    EncodeTriangles m;
    for (int axis = 0; axis < 3; ++axis)
        for (float side : {0.0f, 1.0f}) {
            const int u = (axis + 1) % 3, v = (axis + 2) % 3;
            Vec3 n{0, 0, 0};
            n[axis] = side > 0.5f ? 1.0f : -1.0f;
            Vec3 q[4];
            for (int k = 0; k < 4; ++k) {
                q[k][axis] = side;
                q[k][u] = (k == 1 || k == 2) ? 1.0f : 0.0f;
                q[k][v] = k >= 2 ? 1.0f : 0.0f;
            }
            AddTriangle(m, {q[0], q[1], q[2]}, {n, n, n});
            AddTriangle(m, {q[0], q[2], q[3]}, {n, n, n});
        }
    m.centre[0] = m.centre[1] = m.centre[2] = 0.5;
    return m;
}

// A smooth sphere of rings and slices, indexed, normals along the radius.
inline EncodeTriangles Sphere(uint32_t rings, uint32_t slices, const Vec3& centre = {0, 0, 0}, float radius = 1.0f) {
    EncodeTriangles m;
    const double pi = 3.14159265358979323846;
    auto add = [&](double polar, double azimuth) {
        const Vec3 n{static_cast<float>(std::sin(polar) * std::cos(azimuth)),
                     static_cast<float>(std::sin(polar) * std::sin(azimuth)), static_cast<float>(std::cos(polar))};
        m.positions.push_back({centre[0] + radius * n[0], centre[1] + radius * n[1], centre[2] + radius * n[2]});
        m.normals.push_back(n);
    };
    add(0.0, 0.0);
    for (uint32_t r = 1; r < rings; ++r)
        for (uint32_t s = 0; s < slices; ++s) add(pi * r / rings, 2.0 * pi * s / slices);
    add(pi, 0.0);
    const uint32_t south = static_cast<uint32_t>(m.positions.size() - 1);
    auto ring = [slices](uint32_t r, uint32_t s) { return 1 + (r - 1) * slices + s % slices; };
    auto tri = [&m](uint32_t a, uint32_t b, uint32_t c) {
        m.indices.insert(m.indices.end(), {a, b, c});
        m.faces.push_back(0);
    };
    for (uint32_t s = 0; s < slices; ++s) {
        tri(0, ring(1, s), ring(1, s + 1));
        for (uint32_t r = 1; r + 1 < rings; ++r) {
            tri(ring(r, s), ring(r + 1, s), ring(r + 1, s + 1));
            tri(ring(r, s), ring(r + 1, s + 1), ring(r, s + 1));
        }
        tri(ring(rings - 1, s), south, ring(rings - 1, s + 1));
    }
    for (int k = 0; k < 3; ++k) m.centre[k] = centre[k];
    return m;
}

// Appends b to a, its triangles on a face of their own.
inline void Append(EncodeTriangles& a, const EncodeTriangles& b, int32_t face) {
    const auto base = static_cast<uint32_t>(a.positions.size());
    a.positions.insert(a.positions.end(), b.positions.begin(), b.positions.end());
    a.normals.insert(a.normals.end(), b.normals.begin(), b.normals.end());
    for (uint32_t index : b.indices) a.indices.push_back(base + index);
    a.faces.insert(a.faces.end(), b.faces.size(), face);
}

// The centre of the positions' box.
inline void CentreOnBox(EncodeTriangles& m) {
    for (int k = 0; k < 3; ++k) {
        float low = m.positions[0][k], high = low;
        for (const auto& p : m.positions) low = std::min(low, p[k]), high = std::max(high, p[k]);
        m.centre[k] = low + (double(high) - low) * 0.5;
    }
}

// Every mesh of an OBJ file as the renderer's rows would hold it, one face per sub-object.
inline bool LoadObj(const std::string& path, EncodeTriangles& out) {
    auto pool = FormatGlue::AuthoringPool::Create(new OBJ::AuthoringPool_OBJ(), nullptr, nullptr);
    if (!pool || !pool->LoadFromFile(path, nullptr)) return false;
    int32_t face = 0;
    std::vector<float> rows;
    for (const auto& [name, mesh] : pool->MeshPool().Meshes()) {
        OBJ::MeshRowBuilder builder(pool->Parser().Vertices(), true, true);
        if (!builder.Plan(*mesh, OBJ::MeshRowBuilder::KindOf(*mesh), pool->MaterialPool())) return false;
        for (const auto& sub : builder.SubObjects()) {
            rows.resize(size_t(sub.vertexCount) * Rendering::VertexAttribute::FloatsPerVertex(sub.attributes));
            builder.FillSubObject(sub, rows.data());
            SubObjectRows given;
            given.rows = rows.data();
            given.rowCount = sub.vertexCount;
            given.attributes = sub.attributes;
            if (!MeshTraversalEncode::AppendRows(given, face++, out)) return false;
        }
    }
    if (out.positions.empty()) return false;
    CentreOnBox(out);
    return true;
}

struct RoundTrip {
    bool encoded = false, decoded = false;
    bool consumed = false;  // every decoder cursor at its array's end
    size_t triangles = 0, vertices = 0;
    uint32_t roots = 0;         // rounds of the walk
    size_t unmatched = 0;       // decoded triangles with no source triangle of the same corners
    size_t firstUnmatched = 0;  // position in the decoded order of the first of those
    double worstNormal = 0.0;   // largest angle between a decoded and its source normal
    double normalStep = 0.0;    // one quantisation step of the angles
    std::shared_ptr<FileStructure::HighlyCompressed3DTess> tess;
};

inline PrcPt P(const Vec3& v) { return {v[0], v[1], v[2]}; }

// Source triangles by the grid cell of their centroid, each to be matched once, to a decoded
// triangle whose corners lie within the tolerance of its own in some order.
class TriangleMatcher {
public:
    TriangleMatcher(const EncodeTriangles& source, double tolerance)
        : source_(source), tolerance_(tolerance), cell_(tolerance * 8.0), used_(source.faces.size(), false) {
        for (uint32_t t = 0; t < source.faces.size(); ++t)
            cells_[CellOf(P(source.positions[source.indices[3 * t]]) + P(source.positions[source.indices[3 * t + 1]]) +
                          P(source.positions[source.indices[3 * t + 2]]))]
                .push_back(t);
    }

    // Gives the source row of each decoded corner.
    bool Match(const Vec3 (&corners)[3], uint32_t (&rows)[3]) {
        const auto [x, y, z] = CellOf(P(corners[0]) + P(corners[1]) + P(corners[2]));
        for (int64_t i = 0; i < 27; ++i) {
            const auto found = cells_.find({x + i % 3 - 1, y + i / 3 % 3 - 1, z + i / 9 - 1});
            if (found == cells_.end()) continue;
            for (uint32_t t : found->second)
                if (!used_[t] && Corners(t, corners, rows)) return used_[t] = true;
        }
        return false;
    }

private:
    using Cell = std::tuple<int64_t, int64_t, int64_t>;
    Cell CellOf(const PrcPt& threeTimesCentroid) const {
        const PrcPt c = threeTimesCentroid / (3.0 * cell_);
        return {int64_t(std::floor(c.x)), int64_t(std::floor(c.y)), int64_t(std::floor(c.z))};
    }
    bool Corners(uint32_t t, const Vec3 (&corners)[3], uint32_t (&rows)[3]) const {
        bool taken[3] = {false, false, false};
        for (int c = 0; c < 3; ++c) {
            bool found = false;
            for (int s = 0; s < 3 && !found; ++s) {
                rows[c] = source_.indices[3 * t + s];
                found = !taken[s] && (P(corners[c]) - P(source_.positions[rows[c]])).Length() <= tolerance_;
                taken[s] = taken[s] || found;
            }
            if (!found) return false;
        }
        return true;
    }

    const EncodeTriangles& source_;
    double tolerance_, cell_;
    std::vector<bool> used_;
    std::map<Cell, std::vector<uint32_t>> cells_;
};

inline RoundTrip EncodeAndDecode(const EncodeTriangles& source, double tolerance, uint32_t normalBits = 12) {
    RoundTrip r;
    r.tess = std::make_shared<FileStructure::HighlyCompressed3DTess>();
    MeshTraversalEncode encoder(normalBits);
    r.encoded = encoder.EncodeArrays(source, tolerance, *r.tess);
    r.roots = encoder.RootTriangles();
    if (!r.encoded) return r;
    Compressed3DTessDecoder decoder(*r.tess, nullptr, 0.0f);
    r.decoded = decoder.PrepareDecode() && decoder.DoDecode();
    const auto& t = *r.tess;
    const auto& used = decoder.Consumed();
    r.consumed = used.rawPoints == t.pointArray.size() && used.isReferenced == t.isReferencedArray.size() &&
                 used.pointReference == t.pointReferenceArray.size() && used.edgeStatus == t.edgeStatusArray.size() &&
                 used.triangleFace == t.triangleFaceArray.size() && used.normalFlags == t.normalFlagArray.size() &&
                 used.normalAngles == t.normalAngleArray.size() && decoder.VerifyDataConsumption();
    if (!r.decoded) return r;
    r.triangles = t.triangleIndices.size() / 3;
    r.vertices = t.vertices.size();
    // A corner moves by at most half a step along each of three axes, and by float narrowing.
    double extent = 0.0;
    for (const auto& p : source.positions)
        extent = std::max({extent, double(std::fabs(p[0])), double(std::fabs(p[1])), double(std::fabs(p[2]))});
    TriangleMatcher matcher(source, encoder.UsedTolerance() * 0.87 + extent * 1.2e-7);
    r.normalStep = 1.5707963267948966 / double((1u << normalBits) - 1u);
    for (size_t i = 0; i < r.triangles; ++i) {
        Vec3 corners[3];
        uint32_t rows[3] = {0, 0, 0};
        for (int c = 0; c < 3; ++c) corners[c] = t.vertices[t.triangleIndices[3 * i + c]];
        if (!matcher.Match(corners, rows)) {
            if (r.unmatched++ == 0) r.firstUnmatched = i;
            continue;
        }
        for (int c = 0; c < 3; ++c)
            r.worstNormal =
                std::max(r.worstNormal, PrcPt::AngleBetween(P(t.normals[3 * i + c]), P(source.normals[rows[c]])));
    }
    return r;
}

}  // namespace Velmora::PRC::EncodeTest
