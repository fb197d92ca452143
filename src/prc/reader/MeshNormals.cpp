#include "prc/reader/MeshNormals.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <numbers>

#include "util/Logger.h"

namespace Velmora::PRC {

using FileStructure::Vec3f;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kCorners = 3;
constexpr float kDegreesToRadians = std::numbers::pi_v<float> / 180.0f;
const Vec3f kFallbackNormal{0.0f, 0.0f, 1.0f};

// The face's normal scaled by twice its area, so that larger faces weigh more.
Vec3f AreaNormal(const std::vector<Vec3f>& v, const uint32_t* corner) {
    const Vec3f& a = v[corner[0]];
    const Vec3f& b = v[corner[1]];
    const Vec3f& c = v[corner[2]];
    const Vec3f u{b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    const Vec3f w{c[0] - a[0], c[1] - a[1], c[2] - a[2]};
    return {u[1] * w[2] - u[2] * w[1], u[2] * w[0] - u[0] * w[2], u[0] * w[1] - u[1] * w[0]};
}

bool Unitize(Vec3f& n) {
    const float length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    if (!(length > 0.0f) || !std::isfinite(length)) return false;
    for (float& c : n) c /= length;
    return true;
}

float Dot(const Vec3f& a, const Vec3f& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

}  // namespace

bool GenerateCornerNormals(const FileStructure::BaseTessData& tess, std::vector<Vec3f>& normals) {
    const std::vector<uint32_t>& indices = tess.triangleIndices;
    const size_t triangles = indices.size() / kCorners;
    const size_t vertices = tess.vertices.size();
    for (const uint32_t index : indices)
        if (index >= vertices) {
            normals.clear();
            return false;
        }
    std::vector<Vec3f> faceNormals, unitNormals;
    std::vector<uint32_t> firstFace, faces, fill;  // the faces round each vertex, packed
    try {
        normals.assign(triangles * kCorners, kFallbackNormal);
        faceNormals.resize(triangles);
        unitNormals.resize(triangles);
        firstFace.assign(vertices + 1, 0);
        faces.resize(triangles * kCorners);
        fill.resize(vertices);
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        normals.clear();
        return false;
    }
    for (size_t t = 0; t < triangles; ++t) {
        faceNormals[t] = AreaNormal(tess.vertices, &indices[t * kCorners]);
        unitNormals[t] = faceNormals[t];
        if (!Unitize(unitNormals[t])) unitNormals[t] = kFallbackNormal;
    }
    for (const uint32_t index : indices) ++firstFace[index + 1];
    for (size_t v = 0; v < vertices; ++v) firstFace[v + 1] += firstFace[v];
    std::copy(firstFace.begin(), firstFace.end() - 1, fill.begin());
    for (size_t corner = 0; corner < indices.size(); ++corner)
        faces[fill[indices[corner]]++] = uint32_t(corner / kCorners);

    const float creaseCosine = std::cos(kCreaseAngleDegrees * kDegreesToRadians);
    for (size_t corner = 0; corner < indices.size(); ++corner) {
        const size_t face = corner / kCorners;
        const uint32_t vertex = indices[corner];
        const uint32_t begin = firstFace[vertex], end = firstFace[vertex + 1];
        if (end - begin > kMaxSmoothedValence) {
            normals[corner] = unitNormals[face];
            continue;
        }
        Vec3f sum{0.0f, 0.0f, 0.0f};
        for (uint32_t k = begin; k < end; ++k) {
            const uint32_t other = faces[k];
            if (Dot(unitNormals[other], unitNormals[face]) < creaseCosine) continue;
            for (int c = 0; c < 3; ++c) sum[size_t(c)] += faceNormals[other][size_t(c)];
        }
        normals[corner] = Unitize(sum) ? sum : unitNormals[face];
    }
    return true;
}

}  // namespace Velmora::PRC
