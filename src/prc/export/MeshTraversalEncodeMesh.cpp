// Reading a render mesh back into plain arrays: every sub-object's rows from the GPU, its
// triangles from its index buffer or, without one, from the rows in order. Each sub-object is
// a face of its own, so that its material can be told apart after the walk.

#include <algorithm>

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
    BoxCentre(mesh, model, out.centre);
    return true;
}

}  // namespace Velmora::PRC
