#include "obj/MeshRowBuilder.h"

#include <algorithm>
#include <cmath>

#include "obj/AuthorMaterialPool.h"
#include "rendering/Mesh.h"
#include "util/Logger.h"

namespace Velmora::OBJ {

using Utility::Logger;
using Utility::LogLevel;
namespace VA = Rendering::VertexAttribute;

namespace {
constexpr int32_t kNoSlot = -1;
// One sub-object's rows stay below what one GL buffer may reasonably hold.
constexpr uint64_t kMaxSubObjectBytes = uint64_t(1) << 31;
constexpr MeshRowBuilder::Vec3f kFallbackNormal{0.0f, 0.0f, 1.0f};

uint32_t CornersOf(PrimitiveKind kind) {
    switch (kind) {
        case PrimitiveKind::Points: return 1;
        case PrimitiveKind::Lines: return 2;
        default: return FaceInfo::kCorners;
    }
}

MeshRowBuilder::Vec3f Unit(const Vec3d& v) {
    const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    if (!(length > 0.0) || !std::isfinite(length)) return kFallbackNormal;
    return {float(v[0] / length), float(v[1] / length), float(v[2] / length)};
}
}  // namespace

PrimitiveKind MeshRowBuilder::KindOf(const AuthorMesh& mesh) {
    bool lines = false, points = false;
    for (const auto& [name, geometry] : mesh.Geometries()) {
        if (geometry->type == PrimitiveKind::Triangles) return PrimitiveKind::Triangles;
        lines = lines || geometry->type == PrimitiveKind::Lines;
        points = points || geometry->type == PrimitiveKind::Points;
    }
    return lines ? PrimitiveKind::Lines : points ? PrimitiveKind::Points : PrimitiveKind::Undecided;
}

bool MeshRowBuilder::Plan(AuthorMesh& mesh, PrimitiveKind kind, const AuthorMaterialPool& materials) {
    kind_ = kind;
    subObjects_.clear();
    generated_.clear();
    const bool triangles = kind == PrimitiveKind::Triangles;
    for (const auto& [name, geometry] : mesh.Geometries()) {
        if (geometry->type != kind) {
            Logger::Log(LogLevel::Warning, "Geometry '%s' of mesh '%s' is of another primitive kind -> IGNORED",
                        name.c_str(), mesh.Name().c_str());
            continue;
        }
        SubObject sub;
        sub.geometry = geometry.get();
        sub.materialName = geometry->materialName;
        // The texture slot points into the colours when the file has colours and no
        // texture coordinates.
        const bool texCoords = geometry->hasTexCoords && !arrays_.texCoords.empty();
        sub.colorsFromTexSlot = geometry->hasTexCoords && arrays_.texCoords.empty() && !arrays_.colors.empty();
        if (sub.materialName != AuthorMaterialPool::kDefaultMaterialName) {
            if (!materials.Find(sub.materialName))
                Logger::Log(LogLevel::Error,
                            "AuthorMeshPool::CreateTriangleMesh() - Unable to find AuthorMaterial '%s'",
                            sub.materialName.c_str());
            else if (texCoords)
                sub.textureName = materials.DiffuseTexture(sub.materialName);
        }
        sub.attributes = VA::Position;
        if (triangles && (geometry->hasNormals || generateNormals_)) sub.attributes |= VA::Normal;
        if (sub.colorsFromTexSlot) sub.attributes |= VA::Diffuse;
        if (!sub.textureName.empty()) sub.attributes |= VA::TexCoord0;

        const uint64_t vertices = uint64_t(geometry->faces.size()) * CornersOf(kind);
        const uint64_t bytes = vertices * VA::FloatsPerVertex(sub.attributes) * sizeof(float);
        if (bytes > kMaxSubObjectBytes) {
            Logger::Log(LogLevel::Error, "Mesh '%s' is too large to build", mesh.Name().c_str());
            return false;
        }
        sub.vertexCount = uint32_t(vertices);
        if (triangles && !geometry->hasNormals && generateNormals_) CreateSmoothNormals(*geometry);
        subObjects_.push_back(std::move(sub));
    }
    return true;
}

void MeshRowBuilder::CreateSmoothNormals(Geometry& geometry) {
    // Faces in ascending order of their smoothing group, file order within a group.
    std::vector<uint32_t> order(geometry.faces.size());
    for (uint32_t i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
        return geometry.faces[a].smoothingGroup < geometry.faces[b].smoothingGroup;
    });
    size_t begin = 0;
    while (begin < order.size()) {
        const int32_t group = geometry.faces[order[begin]].smoothingGroup;
        size_t end = begin;
        while (end < order.size() && geometry.faces[order[end]].smoothingGroup == group) ++end;
        if (group != 0 && smoothNormals_)
            AppendSharedNormals(geometry, order, begin, end);
        else
            AppendFlatNormals(geometry, order, begin, end);
        begin = end;
    }
}

// Indices of generated normals follow the file's normals.
void MeshRowBuilder::AppendFlatNormals(Geometry& geometry, const std::vector<uint32_t>& faces, size_t begin,
                                       size_t end) {
    const size_t base = arrays_.normals.size();
    for (size_t i = begin; i < end; ++i) {
        FaceInfo& face = geometry.faces[faces[i]];
        const int32_t index = int32_t(base + generated_.size());
        generated_.push_back(Unit(face.Cross(arrays_)));
        for (FaceInfo::Corner& corner : face.corners) corner[FaceInfo::NormalSlot] = index;
    }
}

// Each position of the group takes the unit sum of the unit normals of its faces.
void MeshRowBuilder::AppendSharedNormals(Geometry& geometry, const std::vector<uint32_t>& faces, size_t begin,
                                         size_t end) {
    positionSlot_.resize(arrays_.positions.size() + 1, kNoSlot);
    std::vector<Vec3d> sums;
    std::vector<uint32_t> touched;
    for (size_t i = begin; i < end; ++i) {
        const FaceInfo& face = geometry.faces[faces[i]];
        const Vec3f n = Unit(face.Cross(arrays_));
        for (uint32_t c = 0; c < FaceInfo::kCorners; ++c) {
            const uint32_t p = uint32_t(face.Position(c));  // checked on reading: 0 ..= count
            int32_t& slot = positionSlot_[p];
            if (slot == kNoSlot) {
                slot = int32_t(sums.size());
                sums.push_back({0.0, 0.0, 0.0});
                touched.push_back(p);
            }
            for (int k = 0; k < 3; ++k) sums[size_t(slot)][size_t(k)] += n[size_t(k)];
        }
    }
    const size_t base = arrays_.normals.size() + generated_.size();
    for (const Vec3d& sum : sums) generated_.push_back(Unit(sum));
    for (size_t i = begin; i < end; ++i) {
        FaceInfo& face = geometry.faces[faces[i]];
        for (FaceInfo::Corner& corner : face.corners)
            corner[FaceInfo::NormalSlot] =
                int32_t(base + size_t(positionSlot_[uint32_t(corner[FaceInfo::PositionSlot])]));
    }
    for (uint32_t p : touched) positionSlot_[p] = kNoSlot;
}

MeshRowBuilder::Vec3f MeshRowBuilder::NormalAt(int32_t index, const Vec3f& fallback) const {
    if (index < 0) return fallback;
    const size_t i = size_t(index);
    if (i < arrays_.normals.size()) {
        const Vec3d& n = arrays_.normals[i];
        return {float(n[0]), float(n[1]), float(n[2])};
    }
    const size_t g = i - arrays_.normals.size();
    return g < generated_.size() ? generated_[g] : fallback;
}

void MeshRowBuilder::Fill(float* const* rows) const {
    for (size_t i = 0; i < subObjects_.size(); ++i)
        if (rows[i]) FillSubObject(subObjects_[i], rows[i]);
}

void MeshRowBuilder::FillSubObject(const SubObject& sub, float* out) const {
    const uint32_t corners = CornersOf(kind_);
    const bool normals = (sub.attributes & VA::Normal) != 0;
    const bool colors = (sub.attributes & VA::Diffuse) != 0;
    const bool texCoords = (sub.attributes & VA::TexCoord0) != 0;
    for (const FaceInfo& face : sub.geometry->faces) {
        // A corner whose normal index misses takes the face's own normal.
        const Vec3f faceNormal = normals ? Unit(face.Cross(arrays_)) : kFallbackNormal;
        for (uint32_t c = 0; c < corners; ++c) {
            const FaceInfo::Corner& corner = face.corners[c];
            const Vec3d p = arrays_.PositionAt(corner[FaceInfo::PositionSlot]);
            *out++ = float(p[0]);
            *out++ = float(p[1]);
            *out++ = float(p[2]);
            if (normals) {
                const Vec3f n = NormalAt(corner[FaceInfo::NormalSlot], faceNormal);
                *out++ = n[0];
                *out++ = n[1];
                *out++ = n[2];
            }
            const int32_t t = corner[FaceInfo::TexCoordSlot];
            if (colors) {
                const bool valid = t >= 0 && size_t(t) < arrays_.colors.size();
                const Vec4d color = valid ? arrays_.colors[size_t(t)] : Vec4d{1.0, 1.0, 1.0, 1.0};
                for (double v : color) *out++ = float(v);
            }
            if (texCoords) {
                const bool valid = t >= 0 && size_t(t) < arrays_.texCoords.size();
                const Vec2d uv = valid ? arrays_.texCoords[size_t(t)] : Vec2d{0.0, 0.0};
                *out++ = float(uv[0]);
                *out++ = float(uv[1]);
            }
        }
    }
}

}  // namespace Velmora::OBJ
