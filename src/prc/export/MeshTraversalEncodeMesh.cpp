// Reading a render mesh back into plain arrays: every sub-object's rows from the GPU, its
// triangles from its index buffer or, without one, from the rows in order. Each sub-object is
// a face of its own, so that its material can be told apart after the walk.

#include <algorithm>
#include <cmath>

#include "prc/export/MeshTraversalEncode.h"
#include "rendering/Mesh.h"
#include "rendering/Model.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using Traversal::kCorners;
using Utility::Logger;
using Utility::LogLevel;
namespace VertexAttribute = Rendering::VertexAttribute;

namespace {

constexpr double kBoxMiddle = 0.5;
constexpr uint32_t kAxes = 3;

// The centre of the mesh's own box (its rows are in its own space); the model's box when the
// mesh has none.
void BoxCentre(const Rendering::Mesh& mesh, const Rendering::Model& model, double centre[kAxes]) {
    Rendering::Vec3 low{0.0f, 0.0f, 0.0f}, high{0.0f, 0.0f, 0.0f};
    if (!mesh.GetBoundingBox(low, high)) {
        Rendering::SceneBoundingBox box;
        model.CalculateBoundingBox(box);
        if (box.valid) {
            low = box.min;
            high = box.max;
        }
    }
    for (uint32_t axis = 0; axis < kAxes; ++axis)
        centre[axis] = low[axis] + (static_cast<double>(high[axis]) - low[axis]) * kBoxMiddle;
}

}  // namespace

bool MeshTraversalEncode::AppendRows(const SubObjectRows& sub, int32_t face, EncodeTriangles& out) {
    if (!sub.rows || !(sub.attributes & VertexAttribute::Position) || !(sub.attributes & VertexAttribute::Normal)) {
        Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - Invalid vertex data!");
        return false;
    }
    if (sub.attributes & VertexAttribute::TexCoordMask & ~VertexAttribute::TexCoord0)
        Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - only texture layer 0 supported (for now)");
    const uint32_t stride = VertexAttribute::FloatsPerVertex(sub.attributes);
    const auto position =
        static_cast<uint32_t>(VertexAttribute::FloatOffset(sub.attributes, VertexAttribute::Position));
    const auto normal = static_cast<uint32_t>(VertexAttribute::FloatOffset(sub.attributes, VertexAttribute::Normal));
    const int32_t texCoord = VertexAttribute::FloatOffset(sub.attributes, VertexAttribute::TexCoord0);
    const size_t indexCount = sub.indices ? sub.indexCount : sub.rowCount;
    // Checked before anything is appended, so that a refused sub-object leaves out as it was.
    const bool indicesInside = !sub.indices || std::all_of(sub.indices, sub.indices + indexCount,
                                                           [&sub](uint32_t index) { return index < sub.rowCount; });
    if (indexCount % kCorners != 0 || !indicesInside) {
        Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - TRIANGLE DATA ERROR!");
        return false;
    }
    // Earlier sub-objects without texture coordinates get neutral ones once any has them.
    if (texCoord >= 0 && out.texCoords.size() < out.positions.size()) out.texCoords.resize(out.positions.size());
    const auto base = static_cast<uint32_t>(out.positions.size());
    for (uint32_t r = 0; r < sub.rowCount; ++r) {
        const float* row = sub.rows + size_t{r} * stride;
        out.positions.push_back({row[position], row[position + 1], row[position + 2]});
        out.normals.push_back({row[normal], row[normal + 1], row[normal + 2]});
        if (texCoord >= 0) out.texCoords.push_back({row[texCoord], row[texCoord + 1]});
    }
    if (texCoord < 0 && !out.texCoords.empty()) out.texCoords.resize(out.positions.size());
    for (size_t i = 0; i < indexCount; ++i)
        out.indices.push_back(base + (sub.indices ? sub.indices[i] : static_cast<uint32_t>(i)));
    out.faces.insert(out.faces.end(), indexCount / kCorners, face);
    return true;
}

bool MeshTraversalEncode::ReadRenderMesh(const Rendering::Mesh& mesh, const Rendering::Model& model,
                                         EncodeTriangles& out) {
    out = {};
    if (mesh.GetPrimitiveType() != Rendering::PrimitiveType::Triangles) {
        Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - Invalid vertex data!");
        return false;
    }
    for (uint32_t s = 0; s < mesh.GetSubObjectCount(); ++s) {
        const uint32_t attributes = mesh.GetVertexAttributes(s);
        const auto rows = mesh.GetVertexDataForSubObject(s);
        if (!rows || rows->Stride() != VertexAttribute::FloatsPerVertex(attributes)) {
            Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - Invalid vertex buffer!");
            return false;
        }
        const auto indices = mesh.GetIndexDataForSubObject(s);
        SubObjectRows sub;
        sub.rows = rows->Data();
        sub.rowCount = rows->Count();
        sub.attributes = attributes;
        if (indices) {
            sub.indices = indices->Data();
            sub.indexCount = indices->ElementCount();
        }
        if (!AppendRows(sub, static_cast<int32_t>(s), out)) return false;
    }
    DropDegenerateTriangles(out);
    RepairNormals(out);
    BoxCentre(mesh, model, out.centre);
    return true;
}

void MeshTraversalEncode::DropDegenerateTriangles(EncodeTriangles& mesh) {
    // A triangle with two corners at one place draws nothing, but the walk cannot store it and
    // would refuse the whole mesh for it; a scene's mesh loses just those triangles.
    size_t kept = 0;
    const size_t triangles = std::min(mesh.faces.size(), mesh.indices.size() / kCorners);
    for (size_t t = 0; t < triangles; ++t) {
        const uint32_t* corner = &mesh.indices[t * kCorners];
        bool inside = true;
        for (uint32_t k = 0; k < kCorners; ++k) inside = inside && corner[k] < mesh.positions.size();
        const bool degenerate = inside && (mesh.positions[corner[0]] == mesh.positions[corner[1]] ||
                                           mesh.positions[corner[0]] == mesh.positions[corner[2]] ||
                                           mesh.positions[corner[1]] == mesh.positions[corner[2]]);
        if (degenerate) continue;
        for (uint32_t k = 0; k < kCorners; ++k) mesh.indices[kept * kCorners + k] = corner[k];
        mesh.faces[kept++] = mesh.faces[t];
    }
    if (kept == triangles) return;
    Logger::Log(LogLevel::Warning, "MeshTraversal::PrepareTraversal() - left out %zu triangles with coinciding corners",
                triangles - kept);
    mesh.indices.resize(kept * kCorners);
    mesh.faces.resize(kept);
}

void MeshTraversalEncode::RepairNormals(EncodeTriangles& mesh) {
    // Scenes from other formats carry zero normals at degenerate spots (a vertex of collapsed
    // triangles only). Such a corner takes the normal of a triangle it belongs to, so one bad
    // vertex does not cost the whole mesh; a vertex of degenerate triangles only points up.
    const auto toPoint = [](const std::array<float, 3>& v) { return PrcPt{v[0], v[1], v[2]}; };
    const auto usable = [&](const std::array<float, 3>& n) {
        return std::isfinite(n[0]) && std::isfinite(n[1]) && std::isfinite(n[2]) &&
               toPoint(n).Length() >= PrcPt::kMinLength;
    };
    size_t repaired = 0;
    for (size_t corner = 0; corner < mesh.indices.size(); ++corner) {
        const uint32_t vertex = mesh.indices[corner];
        if (vertex >= mesh.normals.size() || usable(mesh.normals[vertex])) continue;
        const size_t first = corner - corner % kCorners;
        if (first + kCorners > mesh.indices.size()) break;
        PrcPt p[kCorners];
        bool inside = true;
        for (uint32_t k = 0; k < kCorners; ++k) {
            const uint32_t v = mesh.indices[first + k];
            if (v >= mesh.positions.size()) inside = false;
            else p[k] = toPoint(mesh.positions[v]);
        }
        if (!inside) continue;
        PrcPt normal = (p[1] - p[0]).Cross(p[2] - p[0]);
        if (normal.Unitize() != 0) continue;
        mesh.normals[vertex] = {static_cast<float>(normal.x), static_cast<float>(normal.y), static_cast<float>(normal.z)};
        ++repaired;
    }
    for (std::array<float, 3>& n : mesh.normals) {
        if (usable(n)) continue;
        n = {0.0f, 0.0f, 1.0f};
        ++repaired;
    }
    if (repaired > 0)
        Logger::Log(LogLevel::Warning, "MeshTraversal::PrepareTraversal() - replaced %zu unusable normals", repaired);
}

}  // namespace Velmora::PRC
