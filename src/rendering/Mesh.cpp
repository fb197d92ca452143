#include "rendering/Mesh.h"

#include <epoxy/egl.h>
#include <epoxy/gl.h>

#include <algorithm>
#include <new>

#include "util/Logger.h"

#include "rendering/shaders/DynamicShader.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// GL objects are freed only where a context is current on this thread: a mesh that dies
// elsewhere leaves its names to the context's end, which frees them with it.
bool ContextIsCurrent() { return eglGetCurrentContext() != EGL_NO_CONTEXT; }

void DeleteObjects(DrawInfo& draw) {
    if (draw.vao) glDeleteVertexArrays(1, &draw.vao);
    if (draw.vbo) glDeleteBuffers(1, &draw.vbo);
    if (draw.ibo) glDeleteBuffers(1, &draw.ibo);
    draw.vao = draw.vbo = draw.ibo = 0;
}

uint32_t VerticesPerPrimitive(uint32_t primitiveType) {
    switch (primitiveType) {
        case PrimitiveType::Triangles: return 3;
        case PrimitiveType::Lines: return 2;
        default: return 1;
    }
}

uint32_t PrimitiveCountFor(uint32_t primitiveType, uint32_t drawCount) {
    switch (primitiveType) {
        case PrimitiveType::Triangles: return drawCount / 3;
        case PrimitiveType::Lines: return drawCount >> 1;
        default: return drawCount;
    }
}

// An index at or past the vertex count would make the GPU fetch outside the VBO.
bool IndicesInRange(const DataBuffer<uint32_t>& indices, uint32_t vertexCount) {
    const uint32_t* p = indices.Data();
    const size_t n = indices.ElementCount();
    uint32_t maxIndex = 0;
    for (size_t i = 0; i < n; ++i) maxIndex = std::max(maxIndex, p[i]);
    return n == 0 || maxIndex < vertexCount;
}

// A batch that is not done after this long is not waited for any more: the draw goes on and
// only the bound on queued work is lost.
constexpr GLuint64 kBatchWaitNs = GLuint64(10) * 1000 * 1000 * 1000;

// A vertex buffer above this would not fit the 32-bit sizes that the read-back reports.
constexpr uint64_t kMaxBufferBytes = uint64_t(1) << 32;
// Seconds between two steps of the build-up animation.
constexpr float kBuildUpInterval = 0.05f;

// Checks a sub-object against its attributes and fills what is drawn of it; the size of its
// vertex buffer goes to vertexBytes.
bool DescribeDraw(const MeshSubObjectData& sub, bool inPlace, uint32_t primitiveType, DrawInfo& draw,
                  uint64_t& vertexBytes) {
    if (sub.attributes == 0) {
        Logger::Log(LogLevel::Error, "Mesh::CreateBaseObjects() - invalid vertex attributes!");
        return false;
    }
    const uint32_t stride = VertexAttribute::FloatsPerVertex(sub.attributes);
    const uint64_t vertexCount = inPlace ? sub.vertexCount : sub.vertices ? sub.vertices->Count() : 0;
    vertexBytes = vertexCount * stride * sizeof(float);
    if ((!inPlace && (!sub.vertices || sub.vertices->Stride() != stride)) || vertexBytes > kMaxBufferBytes) {
        Logger::Log(LogLevel::Error, "Mesh::CreateBaseObjects() - vertex data does not match attributes!");
        return false;
    }
    draw.attributes = sub.attributes;
    draw.indexed = sub.indices != nullptr;
    if (draw.indexed && !IndicesInRange(*sub.indices, uint32_t(vertexCount))) {
        Logger::Log(LogLevel::Error, "Mesh::CreateBaseObjects() - index out of range!");
        return false;
    }
    draw.drawCount = draw.indexed ? sub.indices->Count() : uint32_t(vertexCount);
    draw.primitiveCount = PrimitiveCountFor(primitiveType, draw.drawCount);
    return true;
}

// The sub-object's vertex array with its vertex buffer (filled unless written in place) and
// index buffer. On failure nothing of it is left.
bool CreateBuffers(const MeshSubObjectData& sub, bool inPlace, uint64_t vertexBytes, DrawInfo& draw) {
    glGenVertexArrays(1, &draw.vao);
    if (draw.vao == 0) {
        Logger::Log(LogLevel::Error, "Mesh::CreateBaseObjects() - failed to create VAO");
        return false;
    }
    // The element binding is VAO state, so the IBO is attached while the VAO is bound.
    glBindVertexArray(draw.vao);
    glGenBuffers(1, &draw.vbo);
    if (draw.vbo == 0) {
        glBindVertexArray(0);
        Logger::Log(LogLevel::Error, "Mesh::CreateBaseObjects() - failed to create VBO");
        DeleteObjects(draw);
        return false;
    }
    glBindBuffer(GL_ARRAY_BUFFER, draw.vbo);
    glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(vertexBytes), inPlace ? nullptr : sub.vertices->Data(), GL_STATIC_DRAW);
    if (draw.indexed) {
        glGenBuffers(1, &draw.ibo);
        if (draw.ibo == 0) {
            glBindVertexArray(0);
            glBindBuffer(GL_ARRAY_BUFFER, 0);
            Logger::Log(LogLevel::Error, "Mesh::CreateBaseObjects() - failed to create IBO");
            DeleteObjects(draw);
            return false;
        }
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, draw.ibo);
        glBufferData(GL_ELEMENT_ARRAY_BUFFER, GLsizeiptr(sub.indices->ByteSize()), sub.indices->Data(), GL_STATIC_DRAW);
    }
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    return true;
}

// The sub-object appears one primitive per step, from nothing, once.
void StartBuildUp(uint32_t primitiveType, DrawInfo& draw) {
    draw.buildUpTotal = draw.drawCount;
    draw.animated = true;
    draw.buildUpCurrent = 0;
    draw.buildUpStep = VerticesPerPrimitive(primitiveType);
    draw.buildUpInterval = kBuildUpInterval;
    draw.buildUpLastTime = 0.0f;
    draw.buildUpLoop = false;
}

}  // namespace

std::shared_ptr<Mesh> Mesh::Create(const MeshCreationInfo& info) {
    std::shared_ptr<Mesh> mesh(new (std::nothrow) Mesh());
    if (!mesh || !mesh->CreateBaseObjects(info, nullptr)) {
        Logger::Log(LogLevel::Error, "Failed to create/init Mesh instance");
        return {};
    }
    return mesh;
}

std::shared_ptr<Mesh> Mesh::Create(const MeshCreationInfo& info, const VertexWriter& writer) {
    std::shared_ptr<Mesh> mesh(new (std::nothrow) Mesh());
    if (!mesh || !mesh->CreateBaseObjects(info, writer ? &writer : nullptr)) {
        Logger::Log(LogLevel::Error, "Failed to create/init Mesh instance");
        return {};
    }
    return mesh;
}

bool Mesh::CreateBaseObjects(const MeshCreationInfo& info, const VertexWriter* writer) {
    if (info.name.empty() || info.subObjects.empty()) {
        Logger::Log(LogLevel::Error, "Mesh - Invalid creation info");
        return false;
    }
    name_ = info.name;
    primitiveType_ = info.primitiveType;
    drawInfos_.assign(info.subObjects.size(), DrawInfo{});

    bool anyInPlace = false;
    for (size_t i = 0; i < info.subObjects.size(); ++i) {
        const MeshSubObjectData& sub = info.subObjects[i];
        DrawInfo& draw = drawInfos_[i];
        const bool inPlace = !sub.vertices && writer != nullptr;
        uint64_t vertexBytes = 0;
        if (!DescribeDraw(sub, inPlace, primitiveType_, draw, vertexBytes)) return false;
        if (!CreateBuffers(sub, inPlace, vertexBytes, draw)) return false;
        if (info.animateBuildUp) StartBuildUp(primitiveType_, draw);
        anyInPlace = anyInPlace || inPlace;
    }
    if (info.animateBuildUp) buildUpState_ = BuildUpRunning;
    if (anyInPlace) return WriteMappedVertices(info, *writer);
    if (info.calculateBoundingBox) CalculateBoundingBox(info, nullptr);
    return true;
}

// Maps the buffers of the sub-objects written in place, lets the writer fill them and takes the
// box from the mapped rows before they are unmapped (read access keeps that defined).
bool Mesh::WriteMappedVertices(const MeshCreationInfo& info, const VertexWriter& writer) {
    const size_t n = info.subObjects.size();
    std::vector<float*> writeRows(n, nullptr);
    std::vector<const float*> readRows(n, nullptr);
    bool ok = true;
    for (size_t i = 0; i < n && ok; ++i) {
        const MeshSubObjectData& sub = info.subObjects[i];
        if (sub.vertices) {
            readRows[i] = sub.vertices->Data();
            continue;
        }
        const size_t bytes = size_t(sub.vertexCount) * VertexAttribute::FloatsPerVertex(sub.attributes) * sizeof(float);
        if (bytes == 0) continue;
        glBindBuffer(GL_ARRAY_BUFFER, drawInfos_[i].vbo);
        writeRows[i] = static_cast<float*>(
            glMapBufferRange(GL_ARRAY_BUFFER, 0, GLsizeiptr(bytes), GL_MAP_READ_BIT | GL_MAP_WRITE_BIT));
        readRows[i] = writeRows[i];
        if (!writeRows[i]) {
            Logger::Log(LogLevel::Error, "Mesh::CreateBaseObjects() - failed to map VBO");
            ok = false;
        }
    }
    ok = ok && writer(writeRows.data());
    if (ok && info.calculateBoundingBox) CalculateBoundingBox(info, readRows.data());
    for (size_t i = 0; i < n; ++i) {
        if (!writeRows[i]) continue;
        glBindBuffer(GL_ARRAY_BUFFER, drawInfos_[i].vbo);
        // False means the store was lost while mapped (a display mode change on some drivers).
        if (!glUnmapBuffer(GL_ARRAY_BUFFER) && ok) {
            Logger::Log(LogLevel::Error, "Mesh::CreateBaseObjects() - VBO contents lost while mapped");
            ok = false;
        }
    }
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    return ok;
}

// rows: per sub-object the rows to read, or null to read each sub-object's own vertices.
void Mesh::CalculateBoundingBox(const MeshCreationInfo& info, const float* const* rows) {
    bool first = true;
    for (size_t i = 0; i < info.subObjects.size(); ++i) {
        const MeshSubObjectData& sub = info.subObjects[i];
        // Only rows that begin with a position take part.
        if (!(sub.attributes & VertexAttribute::Position)) continue;
        const float* data = rows ? rows[i] : sub.vertices->Data();
        const uint32_t count = sub.vertices ? sub.vertices->Count() : sub.vertexCount;
        const uint32_t stride = VertexAttribute::FloatsPerVertex(sub.attributes);
        if (!data) continue;
        for (uint32_t r = 0; r < count; ++r) {
            const float* p = data + size_t(r) * stride;
            for (int k = 0; k < 3; ++k) {
                if (first) {
                    boundingBoxMin_[k] = boundingBoxMax_[k] = p[k];
                } else {
                    boundingBoxMin_[k] = std::min(boundingBoxMin_[k], p[k]);
                    boundingBoxMax_[k] = std::max(boundingBoxMax_[k], p[k]);
                }
            }
            first = false;
        }
    }
    if (first) {
        Logger::Log(LogLevel::Error, "Cannot create bounding box for mesh '%s'", name_.c_str());
        return;
    }
    boundingBoxValid_ = true;
}

Mesh::~Mesh() {
    if (!ContextIsCurrent()) return;
    for (DrawInfo& draw : drawInfos_) DeleteObjects(draw);
}

bool Mesh::SetShaderForSubObject(uint32_t index, const std::shared_ptr<DynamicShader>& shader) {
    if (index >= drawInfos_.size() || !shader) return false;
    const DrawInfo& draw = drawInfos_[index];
    glBindVertexArray(draw.vao);
    glBindBuffer(GL_ARRAY_BUFFER, draw.vbo);
    if (draw.indexed) glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, draw.ibo);
    const bool ok = shader->InitVAOAttributes();
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    return ok;
}

void Mesh::Draw(const RenderInfo& info, float time) {
    if (info.shaderInfos.size() != drawInfos_.size()) {
        Logger::Log(LogLevel::Error, "Mismatching number of DrawInfos and RenderShaderInfos");
        return;
    }
    for (size_t i = 0; i < drawInfos_.size(); ++i) {
        DrawInfo& draw = drawInfos_[i];
        glBindVertexArray(draw.vao);
        if (info.shaderInfos[i].shader) info.shaderInfos[i].shader->Activate(info, uint32_t(i));
        if (!draw.animated) {
            draw.buildUpCurrent = draw.drawCount;
        } else if (buildUpState_ == BuildUpRunning && draw.buildUpInterval + draw.buildUpLastTime <= time) {
            draw.buildUpCurrent += draw.buildUpStep;
            if (draw.buildUpCurrent > draw.buildUpTotal) {
                if (draw.buildUpLoop) {
                    draw.buildUpCurrent = 0;
                } else {
                    buildUpState_ = BuildUpFinished;
                    draw.buildUpCurrent = draw.buildUpTotal;
                }
            }
            draw.buildUpLastTime = time;
        }
        const uint32_t batchPrimitives = DrawBatchLimit();
        const uint64_t batchVertices = uint64_t(batchPrimitives) * VerticesPerPrimitive(primitiveType_);
        if (batchVertices != 0 && draw.buildUpCurrent > batchVertices)
            DrawInBatches(draw, draw.buildUpCurrent, batchPrimitives);
        else if (draw.indexed)
            glDrawElements(GLenum(primitiveType_), GLsizei(draw.buildUpCurrent), GL_UNSIGNED_INT, nullptr);
        else
            glDrawArrays(GLenum(primitiveType_), 0, GLsizei(draw.buildUpCurrent));
        glBindVertexArray(0);
    }
}

// Each batch but the last ends in a fence, which also hands the batch to the rasterizer; before
// a batch is issued, the one kBatchesInFlight back must be done, so queued setup data never
// holds more than that many batches.
void Mesh::DrawInBatches(const DrawInfo& draw, uint32_t count, uint32_t batchPrimitives) const {
    const uint32_t batch = batchPrimitives * VerticesPerPrimitive(primitiveType_);
    GLsync fences[kBatchesInFlight] = {};
    uint32_t slot = 0;
    for (uint32_t first = 0; first < count;) {
        const uint32_t n = std::min(batch, count - first);
        if (fences[slot]) {
            glClientWaitSync(fences[slot], GL_SYNC_FLUSH_COMMANDS_BIT, kBatchWaitNs);
            glDeleteSync(fences[slot]);
            fences[slot] = nullptr;
        }
        if (draw.indexed)
            glDrawElements(GLenum(primitiveType_), GLsizei(n), GL_UNSIGNED_INT,
                           reinterpret_cast<const void*>(uintptr_t(first) * sizeof(uint32_t)));
        else
            glDrawArrays(GLenum(primitiveType_), GLint(first), GLsizei(n));
        if (count - first > batch) fences[slot] = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
        slot = (slot + 1) % kBatchesInFlight;
        first += n;  // never past count, so no wrap-around near the 32-bit limit
    }
    for (GLsync fence : fences)
        if (fence) glDeleteSync(fence);
}

uint32_t Mesh::GetNumberOfPrimitivesForSubObject(uint32_t index) const {
    if (index >= drawInfos_.size()) {
        Logger::Log(LogLevel::Error, "Mesh::GetNumberOfPrimitivesForSubObject() - INVALID OBJECT INDEX!");
        return 0;
    }
    return drawInfos_[index].primitiveCount;
}

uint32_t Mesh::GetVertexAttributes(uint32_t index) const {
    if (index >= drawInfos_.size()) {
        Logger::Log(LogLevel::Error, "Mesh::GetVertexAttributes() - INVALID OBJECT INDEX!");
        return 0;
    }
    return drawInfos_[index].attributes;
}

bool Mesh::GetBoundingBox(Vec3& min, Vec3& max) const {
    if (!boundingBoxValid_) return false;
    min = boundingBoxMin_;
    max = boundingBoxMax_;
    return true;
}

std::shared_ptr<DataBuffer<float>> Mesh::GetVertexDataForSubObject(uint32_t index) const {
    if (index >= drawInfos_.size()) {
        Logger::Log(LogLevel::Error, "Mesh::GetVertexDataForSubObject() - INVALID OBJECT INDEX!");
        return {};
    }
    const DrawInfo& draw = drawInfos_[index];
    if (draw.vbo == 0) {
        Logger::Log(LogLevel::Error, "Mesh::GetVertexDataForSubObject() - INVALID VBO INDEX!");
        return {};
    }
    // The buffer holds as many rows as were uploaded: one per corner of an unindexed
    // sub-object, fewer for an indexed one, so its size decides the row count.
    const uint32_t floats = VertexAttribute::FloatsPerVertex(draw.attributes);
    const uint64_t rowBytes = uint64_t{floats} * sizeof(float);
    glBindBuffer(GL_ARRAY_BUFFER, draw.vbo);
    GLint64 size = 0;
    glGetBufferParameteri64v(GL_ARRAY_BUFFER, GL_BUFFER_SIZE, &size);
    const uint64_t expectedRows = draw.indexed ? 0 : uint64_t{draw.primitiveCount} * VerticesPerPrimitive(primitiveType_);
    if (size < 0 || rowBytes == 0 || uint64_t(size) % rowBytes != 0 || uint64_t(size) / rowBytes > UINT32_MAX ||
        (!draw.indexed && uint64_t(size) / rowBytes != expectedRows)) {
        glBindBuffer(GL_ARRAY_BUFFER, 0);
        Logger::Log(LogLevel::Error, "Mesh::GetVertexDataForSubObject() - UNEXPECTED VRAM BUFFER SIZE");
        return {};
    }
    std::shared_ptr<DataBuffer<float>> result =
        DataBuffer<float>::Create(static_cast<uint32_t>(uint64_t(size) / rowBytes), floats);
    if (!result) {
        glBindBuffer(GL_ARRAY_BUFFER, 0);
        Logger::Log(LogLevel::Error, "Mesh::GetVertexDataForSubObject() - OUT OF MEMORY");
        return {};
    }
    if (size > 0) glGetBufferSubData(GL_ARRAY_BUFFER, 0, GLsizeiptr(size), result->Data());
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    return result;
}

std::shared_ptr<DataBuffer<uint32_t>> Mesh::GetIndexDataForSubObject(uint32_t index) const {
    if (index >= drawInfos_.size()) {
        Logger::Log(LogLevel::Error, "Mesh::GetIndexDataForSubObject() - INVALID OBJECT INDEX!");
        return {};
    }
    const DrawInfo& draw = drawInfos_[index];
    if (!draw.indexed || draw.ibo == 0) return {};
    std::shared_ptr<DataBuffer<uint32_t>> result = DataBuffer<uint32_t>::Create(draw.drawCount, 1);
    if (!result) {
        Logger::Log(LogLevel::Error, "Mesh::GetIndexDataForSubObject() - OUT OF MEMORY");
        return {};
    }
    // The copy-read target leaves the VAO's element binding alone.
    glBindBuffer(GL_COPY_READ_BUFFER, draw.ibo);
    GLint64 size = 0;
    glGetBufferParameteri64v(GL_COPY_READ_BUFFER, GL_BUFFER_SIZE, &size);
    if (uint64_t(size) != result->ByteSize()) {
        glBindBuffer(GL_COPY_READ_BUFFER, 0);
        Logger::Log(LogLevel::Error, "Mesh::GetIndexDataForSubObject() - UNEXPECTED VRAM BUFFER SIZE");
        return {};
    }
    if (size > 0) glGetBufferSubData(GL_COPY_READ_BUFFER, 0, GLsizeiptr(size), result->Data());
    glBindBuffer(GL_COPY_READ_BUFFER, 0);
    return result;
}

}  // namespace Velmora::Rendering
