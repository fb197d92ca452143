#pragma once
// Mesh: an immutable set of GPU buffers. One primitive kind and one or more sub-objects, each
// with its own vertex array object, interleaved static vertex buffer and optional 32-bit index
// buffer; one sub-object takes one material and one shader. No CPU copy of the geometry is
// kept: after Create the caller's buffers may go, and the export path reads vertices back from
// the GPU.
//
// A vertex row is interleaved in this fixed order, every value a 32-bit float:
//   position (3), normal (3), diffuse colour (4), specular colour (4), tex coord layers 0..7 (2 each)
// and holds only the attributes whose bit is set in the sub-object's attribute word.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "rendering/DataBuffer.h"
#include "rendering/MeshRenderInfo.h"

namespace Velmora::Rendering {

namespace VertexAttribute {
inline constexpr uint32_t TexCoord0 = 0x001;  // layers 0..7 are 0x001 << layer
inline constexpr uint32_t TexCoordMask = 0x0FF;
inline constexpr uint32_t Position = 0x100;
inline constexpr uint32_t Normal = 0x200;
inline constexpr uint32_t Diffuse = 0x400;
inline constexpr uint32_t Specular = 0x800;
inline constexpr uint32_t All = 0xFFF;

inline constexpr uint32_t TexCoord(uint32_t layer) { return TexCoord0 << layer; }

// Floats in one interleaved row for this attribute word.
inline constexpr uint32_t FloatsPerVertex(uint32_t attributes) {
    uint32_t n = 0;
    if (attributes & Position) n += 3;
    if (attributes & Normal) n += 3;
    if (attributes & Diffuse) n += 4;
    if (attributes & Specular) n += 4;
    for (uint32_t layer = 0; layer < 8; ++layer)
        if (attributes & TexCoord(layer)) n += 2;
    return n;
}

// Float offset of one attribute inside a row, or -1 when the word does not hold it.
inline constexpr int32_t FloatOffset(uint32_t attributes, uint32_t attribute) {
    if (!(attributes & attribute)) return -1;
    constexpr uint32_t order[12] = {Position, Normal, Diffuse, Specular, 0x01, 0x02,
                                    0x04,     0x08,   0x10,    0x20,     0x40, 0x80};
    int32_t offset = 0;
    for (uint32_t bit : order) {
        if (bit == attribute) return offset;
        if (attributes & bit) offset += int32_t(FloatsPerVertex(bit));
    }
    return -1;
}
}  // namespace VertexAttribute

// GL modes a mesh may hold.
namespace PrimitiveType {
inline constexpr uint32_t Points = 0;     // GL_POINTS
inline constexpr uint32_t Lines = 1;      // GL_LINES
inline constexpr uint32_t Triangles = 4;  // GL_TRIANGLES
}  // namespace PrimitiveType

struct MeshSubObjectData {
    std::shared_ptr<DataBuffer<float>> vertices;
    std::shared_ptr<DataBuffer<uint32_t>> indices;  // may be empty
    uint32_t attributes = 0;
    // Rows that a VertexWriter writes straight into the GPU buffer; only read when vertices
    // is empty (see Mesh::Create with a writer).
    uint32_t vertexCount = 0;
};

// Writes the rows of every sub-object in place: rows[i] has room for vertexCount rows of the
// sub-object's stride (null for a sub-object of no rows). False fails the mesh.
using VertexWriter = std::function<bool(float* const* rows)>;

struct MeshCreationInfo {
    std::string name;
    uint32_t primitiveType = PrimitiveType::Triangles;
    bool calculateBoundingBox = true;
    std::vector<MeshSubObjectData> subObjects;
    bool animateBuildUp = false;
};

// Per sub-object GL names and draw state.
struct DrawInfo {
    uint32_t vao = 0, vbo = 0, ibo = 0;
    uint32_t drawCount = 0;  // vertices or indices to draw
    uint32_t primitiveCount = 0;
    uint32_t attributes = 0;
    bool indexed = false;
    bool animated = false;
    uint32_t buildUpTotal = 0;
    uint32_t buildUpCurrent = 0;
    uint32_t buildUpStep = 0;
    float buildUpInterval = 0.0f;  // seconds
    float buildUpLastTime = 0.0f;
    bool buildUpLoop = false;
};

class Mesh {
public:
    enum BuildUpState : int32_t { BuildUpNone = 0, BuildUpRunning = 1, BuildUpFinished = 2 };

    // Uploads every sub-object; needs a current GL context. Empty on failure, logged.
    static std::shared_ptr<Mesh> Create(const MeshCreationInfo& info);

    // The same build for sub-objects whose vertices are left empty: their buffers are sized
    // from vertexCount and handed to the writer mapped, so a large mesh never needs a second,
    // CPU-side copy of its rows. Sub-objects that do carry vertices upload them as above.
    static std::shared_ptr<Mesh> Create(const MeshCreationInfo& info, const VertexWriter& writer);

    ~Mesh();
    Mesh(const Mesh&) = delete;
    Mesh& operator=(const Mesh&) = delete;

    // Points the sub-object's VAO at the shader's attribute layout.
    bool SetShaderForSubObject(uint32_t index, const std::shared_ptr<DynamicShader>& shader);

    // One draw call per sub-object, or bounded batches of one (see SetDrawBatchLimit); time is
    // absolute, in seconds, for the build-up animation.
    void Draw(const RenderInfo& info, float time);

    // Largest number of primitives handed to the driver in one call; 0 draws each sub-object
    // whole. A software rasterizer bins every primitive of a call before it shades any, so one
    // huge draw holds its whole setup data (hundreds of bytes a triangle) at once. Drawn in
    // batches, with at most kBatchesInFlight of them queued ahead of the rasterizer, the peak
    // stays bounded and binning overlaps shading; the picture is the same, as every batch is
    // drawn in order into the same framebuffer. Process-wide, set by the Renderer at start.
    // Atomic so that a host thread may change it between frames of the render thread.
    static void SetDrawBatchLimit(uint32_t primitives) { drawBatchLimit_.store(primitives, std::memory_order_relaxed); }
    static uint32_t DrawBatchLimit() { return drawBatchLimit_.load(std::memory_order_relaxed); }
    static constexpr uint32_t kBatchesInFlight = 2;

    uint32_t GetNumberOfPrimitivesForSubObject(uint32_t index) const;
    uint32_t GetVertexAttributes(uint32_t index) const;

    // Reads the vertex rows of a sub-object back from its VBO. Works for non-indexed
    // sub-objects, and for indexed ones only when vertex and index counts agree.
    std::shared_ptr<DataBuffer<float>> GetVertexDataForSubObject(uint32_t index) const;

    // Reads the 32-bit indices of an indexed sub-object back from its IBO (count rows of one);
    // empty for a non-indexed sub-object.
    std::shared_ptr<DataBuffer<uint32_t>> GetIndexDataForSubObject(uint32_t index) const;

    uint32_t GetSubObjectCount() const { return uint32_t(drawInfos_.size()); }
    const std::string& GetName() const { return name_; }
    uint32_t GetPrimitiveType() const { return primitiveType_; }
    // False when the mesh has no box; min and max are then untouched.
    bool GetBoundingBox(Vec3& min, Vec3& max) const;
    bool HasBoundingBox() const { return boundingBoxValid_; }
    int32_t GetBuildUpState() const { return buildUpState_; }
    // Null for an index out of range.
    const DrawInfo* GetDrawInfo(uint32_t index) const {
        return index < drawInfos_.size() ? &drawInfos_[index] : nullptr;
    }

private:
    Mesh() = default;
    bool CreateBaseObjects(const MeshCreationInfo& info, const VertexWriter* writer);
    bool WriteMappedVertices(const MeshCreationInfo& info, const VertexWriter& writer);
    void CalculateBoundingBox(const MeshCreationInfo& info, const float* const* rows);
    void DrawInBatches(const DrawInfo& draw, uint32_t count, uint32_t batchPrimitives) const;

    static inline std::atomic<uint32_t> drawBatchLimit_{0};

    std::string name_;
    uint32_t primitiveType_ = PrimitiveType::Triangles;
    std::vector<DrawInfo> drawInfos_;
    Vec3 boundingBoxMin_{0.0f, 0.0f, 0.0f};
    Vec3 boundingBoxMax_{0.0f, 0.0f, 0.0f};
    bool boundingBoxValid_ = false;
    int32_t buildUpState_ = BuildUpNone;
};

}  // namespace Velmora::Rendering
