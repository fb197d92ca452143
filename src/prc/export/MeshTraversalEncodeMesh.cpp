// Reading a render mesh back into plain arrays: every sub-object's rows from the GPU, its
// triangles from its index buffer or, without one, from the rows in order. Each sub-object is
// a face of its own, so that its material can be told apart after the walk.

#include <algorithm>

#include "prc/export/MeshTraversalEncode.h"
#include "rendering/Mesh.h"
#include "rendering/Model.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using Rendering::DataBuffer;
using Utility::Logger;
using Utility::LogLevel;
namespace VertexAttribute = Rendering::VertexAttribute;

namespace {

constexpr double kBoxMiddle = 0.5;
constexpr uint32_t kAxes = 3;
constexpr uint32_t kTexCoordValues = 2;

// Indices of a sub-object: the index buffer's, or the rows in order.
bool TriangleIndices(const Rendering::Mesh& mesh, uint32_t subObject, uint32_t rows, std::vector<uint32_t>& out) {
    const auto indices = mesh.GetIndexDataForSubObject(subObject);
    out.clear();
    if (indices) {
        out.assign(indices->Data(), indices->Data() + indices->ElementCount());
    } else {
        out.resize(rows);
        for (uint32_t i = 0; i < rows; ++i) out[i] = i;
    }
    if (out.size() % 3 != 0 ||
        std::any_of(out.begin(), out.end(), [rows](uint32_t index) { return index >= rows; })) {
        Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - TRIANGLE DATA ERROR!");
        return false;
    }
    return true;
}

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

bool MeshTraversalEncode::ReadRenderMesh(const Rendering::Mesh& mesh, const Rendering::Model& model,
                                         EncodeTriangles& out) {
    out = {};
    if (mesh.GetPrimitiveType() != Rendering::PrimitiveType::Triangles) {
        Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - Invalid vertex data!");
        return false;
    }
    bool anyTexCoords = false;
    std::vector<uint32_t> indices;
    for (uint32_t s = 0; s < mesh.GetSubObjectCount(); ++s) {
        const uint32_t attributes = mesh.GetVertexAttributes(s);
        const auto rows = mesh.GetVertexDataForSubObject(s);
        if (!rows) {
            Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - Invalid vertex buffer!");
            return false;
        }
        if (!(attributes & VertexAttribute::Position) || !(attributes & VertexAttribute::Normal) ||
            rows->Stride() != VertexAttribute::FloatsPerVertex(attributes)) {
            Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - Invalid vertex data!");
            return false;
        }
        if (attributes & VertexAttribute::TexCoordMask & ~VertexAttribute::TexCoord0)
            Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - only texture layer 0 supported (for now)");
        if (!TriangleIndices(mesh, s, rows->Count(), indices)) return false;
        const auto position = static_cast<uint32_t>(VertexAttribute::FloatOffset(attributes, VertexAttribute::Position));
        const auto normal = static_cast<uint32_t>(VertexAttribute::FloatOffset(attributes, VertexAttribute::Normal));
        const int32_t texCoord = VertexAttribute::FloatOffset(attributes, VertexAttribute::TexCoord0);
        const auto base = static_cast<uint32_t>(out.positions.size());
        for (uint32_t r = 0; r < rows->Count(); ++r) {
            const float* row = rows->Row(r);
            out.positions.push_back({row[position], row[position + 1], row[position + 2]});
            out.normals.push_back({row[normal], row[normal + 1], row[normal + 2]});
            std::array<float, kTexCoordValues> uv{0.0f, 0.0f};
            if (texCoord >= 0) uv = {row[texCoord], row[texCoord + 1]};
            out.texCoords.push_back(uv);
        }
        anyTexCoords = anyTexCoords || texCoord >= 0;
        for (uint32_t index : indices) out.indices.push_back(base + index);
        out.faces.insert(out.faces.end(), indices.size() / 3, static_cast<int32_t>(s));
    }
    if (!anyTexCoords) out.texCoords.clear();
    BoxCentre(mesh, model, out.centre);
    return true;
}

}  // namespace Velmora::PRC
