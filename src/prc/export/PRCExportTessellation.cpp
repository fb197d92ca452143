// Tessellations and styles of an exported scene: each render mesh becomes one tessellation,
// shared by every model that draws it, and each sub-object one face with its line style.

#include <array>
#include <bit>
#include <cmath>
#include <unordered_map>

#include "prc/export/MeshTraversalEncode.h"
#include "prc/export/PRCExport.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"


namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;
namespace VA = Rendering::VertexAttribute;

namespace {

constexpr uint32_t kCoordinatesPerVertex = 3;
constexpr uint32_t kCoordinatesPerTexel = 2;
constexpr uint32_t kCornersPerTriangle = 3;
constexpr uint32_t kIndicesPerCorner = 3;  // normal, texture, position at most
// Face entity flags: a list of triangles, and the same with texture coordinates.
constexpr uint32_t kFaceTriangles = 0x0002;
constexpr uint32_t kFaceTexturedTriangles = 0x0200;
constexpr uint32_t kFaceBehaviour = 1;
constexpr float kLineWidth = 1.0f;
constexpr float kByteMaximum = 255.0f;
constexpr uint8_t kOpaque = 255;
constexpr const char* kStyleSuffix = "_Style";
// Normals of a compressed tessellation are two angles of this many bits each.
constexpr uint32_t kNormalBits = 10;
// Points of a compressed tessellation are quantised to this fraction of the mesh's box
// diagonal: far below a pixel at any zoom that shows the whole mesh, and independent of the
// units the scene was modelled in.
constexpr double kRelativeTolerance = 1e-6;
// A mesh without a box (or a flat point) still needs a positive step.
constexpr double kFallbackTolerance = 1e-6;

double CompressionTolerance(const Rendering::Mesh& mesh) {
    Rendering::Vec3 low, high;
    if (!mesh.GetBoundingBox(low, high)) return kFallbackTolerance;
    double squared = 0.0;
    for (size_t axis = 0; axis < low.size(); ++axis) {
        const double extent = static_cast<double>(high[axis]) - low[axis];
        squared += extent * extent;
    }
    const double diagonal = std::sqrt(squared);
    return diagonal > 0.0 ? diagonal * kRelativeTolerance : kFallbackTolerance;
}

// Equal values by their exact bits: -0 and +0 stay apart, as the stored doubles would.
template <size_t N>
struct BitsHash {
    size_t operator()(const std::array<uint32_t, N>& key) const {
        // Float bits differ mostly in their low mantissa bits: mix every word through the
        // whole width, or nearby positions crowd into a few buckets.
        uint64_t h = 0;
        for (const uint32_t k : key) {
            h = (h ^ k) * 0x9E3779B97F4A7C15ull;
            h ^= h >> 29;
        }
        return static_cast<size_t>(h ^ (h >> 32));
    }
};

// A flat array of values whose equal entries are stored once; the index is the position of
// the entry's first component.
template <size_t N>
class DedupedArray {
public:
    void Reserve(size_t count) { seen_.reserve(count); }
    uint32_t Add(const float* values, std::vector<double>& flat) {
        std::array<uint32_t, N> key;
        for (size_t i = 0; i < N; ++i) key[i] = std::bit_cast<uint32_t>(values[i]);
        const auto [it, inserted] = seen_.emplace(key, static_cast<uint32_t>(flat.size()));
        if (inserted)
            for (size_t i = 0; i < N; ++i) flat.push_back(values[i]);
        return it->second;
    }

private:
    std::unordered_map<std::array<uint32_t, N>, uint32_t, BitsHash<N>> seen_;
};

// The walk of a compressed tessellation carries no texture coordinates here, so a textured
// mesh is written plain even when compression is asked for: its pictures stay on it.
bool HasTextureCoordinates(const Rendering::Mesh& mesh) {
    for (uint32_t group = 0; group < mesh.GetSubObjectCount(); ++group)
        if (mesh.GetVertexAttributes(group) & VA::TexCoord0) return true;
    return false;
}

}  // namespace

int32_t PRCExport::WriteTesselationForModel(const Rendering::Mesh& mesh, const Rendering::Model& model) {
    const auto known = tessellations_.find(&mesh);
    if (known != tessellations_.end()) return known->second;
    if (mesh.GetPrimitiveType() != Rendering::PrimitiveType::Triangles) {
        Logger::Log(LogLevel::Error,
                    "PRCExport::WriteTesselationForModel() - ONLY TRIANGLE MESHES SUPPORTED (for now)!");
        return -1;
    }
    // Either form gives each sub-object the style of its shader.
    if (mesh.GetSubObjectCount() != model.GetRenderInfo().shaderInfos.size()) {
        Logger::Log(LogLevel::Error, "PRCExport::WriteContent3DTess() - INVALID NUMBER OF SUBOBJECTS/SHADERS");
        return -1;
    }
    std::shared_ptr<BaseTessData> tess;
    if (useCompression_ && !HasTextureCoordinates(mesh)) {
        if (!WriteCompressedTess(mesh, model, tess)) return -1;
    } else {
        auto plain = std::make_shared<Content3DTess>();
        if (!WriteContent3DTess(mesh, model, *plain)) return -1;
        tess = plain;
    }
    const auto index = static_cast<int32_t>(block_->tessellation.tessellations.size());
    block_->tessellation.tessellations.push_back(std::move(tess));
    tessellations_.emplace(&mesh, index);
    return index;
}

bool PRCExport::WriteCompressedTess(const Rendering::Mesh& mesh, const Rendering::Model& model,
                                    std::shared_ptr<BaseTessData>& tess) {
    const uint32_t groups = mesh.GetSubObjectCount();
    auto compressed = std::make_shared<HighlyCompressed3DTess>();
    MeshTraversalEncode encoder(kNormalBits);
    if (!encoder.Encode(mesh, model, CompressionTolerance(mesh), *compressed)) return false;
    // The walk makes one face per sub-object, in order; each draws with its sub-object's style.
    const auto faces = static_cast<uint32_t>(compressed->numberOfFaces);
    compressed->styleArray.assign(faces, -1);
    for (uint32_t group = 0; group < faces && group < groups; ++group) {
        const int32_t style = CreateShaderResources(model, group);
        if (style < 0) return false;
        compressed->styleArray[group] = style;
    }
    tess = compressed;
    return true;
}

bool PRCExport::WriteContent3DTess(const Rendering::Mesh& mesh, const Rendering::Model& model, Content3DTess& tess) {
    const uint32_t groups = mesh.GetSubObjectCount();
    uint64_t corners = 0;
    for (uint32_t g = 0; g < groups; ++g)
        corners += uint64_t{mesh.GetNumberOfPrimitivesForSubObject(g)} * kCornersPerTriangle;
    tess.triangulatedIndices.reserve(corners * kIndicesPerCorner);

    DedupedArray<kCoordinatesPerVertex> positions, normals;
    DedupedArray<kCoordinatesPerTexel> texels;
    std::vector<double> normalFlat;
    positions.Reserve(size_t(corners));
    normals.Reserve(size_t(corners));
    for (uint32_t g = 0; g < groups; ++g) {
        const uint32_t attributes = mesh.GetVertexAttributes(g);
        const std::shared_ptr<Rendering::DataBuffer<float>> rows = mesh.GetVertexDataForSubObject(g);
        if (!rows) {
            Logger::Log(LogLevel::Error, "PRCExport::WriteContent3DTess() - Invalid vertex buffer!");
            return false;
        }
        if (!(attributes & VA::Position) || !(attributes & VA::Normal)) {
            Logger::Log(LogLevel::Error, "PRCExport::WriteContent3DTess() - Invalid vertex data!");
            return false;
        }
        if (attributes & VA::Diffuse) {
            Logger::Log(LogLevel::Error, "PRCExport::WriteContent3DTess() - Colors not yet supported!");
            return false;
        }
        const std::shared_ptr<Rendering::DataBuffer<uint32_t>> indices = mesh.GetIndexDataForSubObject(g);
        const uint32_t count = indices ? indices->Count() : rows->Count();
        const uint32_t triangles = count / kCornersPerTriangle;
        if (triangles == 0) continue;

        const int32_t style = CreateShaderResources(model, g);
        if (style < 0) return false;
        const bool textured = (attributes & VA::TexCoord0) != 0;
        FaceTessData face;
        face.lineAttributes.push_back(style);
        face.usedEntitiesFlag = textured ? kFaceTexturedTriangles : kFaceTriangles;
        face.startTriangulated = static_cast<uint32_t>(tess.triangulatedIndices.size());
        face.triangulatedSizes.push_back(triangles);
        face.numberOfTextureCoordinateIndices = textured ? 1 : 0;
        face.behaviour = kFaceBehaviour;

        const int32_t positionAt = VA::FloatOffset(attributes, VA::Position);
        const int32_t normalAt = VA::FloatOffset(attributes, VA::Normal);
        const int32_t texelAt = VA::FloatOffset(attributes, VA::TexCoord0);
        for (uint32_t c = 0; c < triangles * kCornersPerTriangle; ++c) {
            const uint32_t vertex = indices ? indices->Data()[c] : c;
            const float* row = rows->Row(vertex);
            if (!row) {
                Logger::Log(LogLevel::Error, "PRCExport::WriteContent3DTess() - Invalid vertex buffer!");
                return false;
            }
            // The corner's indices in the order the decoder reads them: normal, texture
            // coordinate, position.
            tess.triangulatedIndices.push_back(normals.Add(row + normalAt, normalFlat));
            if (textured) tess.triangulatedIndices.push_back(texels.Add(row + texelAt, tess.rawTextureCoordinates));
            tess.triangulatedIndices.push_back(positions.Add(row + positionAt, tess.rawCoordinates));
        }
        tess.faces.push_back(std::move(face));
    }
    if (tess.rawCoordinates.empty()) {
        Logger::Log(LogLevel::Error, "PRCExport::WriteContent3DTess() - Invalid vertex data!");
        return false;
    }
    tess.storedNormals.resize(normalFlat.size() / kCoordinatesPerVertex);
    for (size_t n = 0; n < tess.storedNormals.size(); ++n)
        for (size_t c = 0; c < kCoordinatesPerVertex; ++c)
            tess.storedNormals[n][c] = static_cast<float>(normalFlat[n * kCoordinatesPerVertex + c]);
    tess.isCalculated = false;
    tess.hasFaces = false;
    tess.hasLoops = false;
    return true;
}

int32_t PRCExport::CreateShaderResources(const Rendering::Model& model, uint32_t subObject) {
    const auto& infos = model.GetRenderInfo().shaderInfos;
    if (subObject >= infos.size()) {
        Logger::Log(LogLevel::Error, "PRCExport::WriteContent3DTess() - INVALID NUMBER OF SUBOBJECTS/SHADERS");
        return -1;
    }
    const Rendering::RenderShaderInfo& info = infos[subObject];
    int32_t material = resources_->WriteGenericMaterial(info.materialIndex);
    if (material < 0) return -1;
    const float opacity = resources_->OpacityOf(info.materialIndex);
    const auto& descriptions = model.GetShaderDescriptions();
    const bool textured = subObject < descriptions.size() && (descriptions[subObject].textureLayers & 1u) &&
                          (info.textureMask & 1u) && info.texture[0] != 0;
    if (textured) {
        material = resources_->WriteTextureApplication(material, info.texture[0]);
        if (material < 0) {
            Logger::Log(LogLevel::Error, "PRCExport::CreateShaderResources() - active texture layer not found!");
            return -1;
        }
    }
    const int32_t style = WriteLineStyle(material, opacity, model.GetName() + kStyleSuffix);
    if (style < 0) Logger::Log(LogLevel::Error, "PRCExport::CreateShaderResources() - INVALID LINESTYLE");
    return style;
}

int32_t PRCExport::WriteLineStyle(int32_t material, float opacity, const std::string& name) {
    if (material < 0 || !(opacity >= 0.0f && opacity <= 1.0f)) {
        Logger::Log(LogLevel::Error, "PRCExport::WriteLineStyle() - INVALID INPUT DATA!");
        return -1;
    }
    const auto transparency = static_cast<uint8_t>(std::lround(opacity * kByteMaximum));
    const auto key = std::make_pair(material, transparency);
    const auto known = lineStyles_.find(key);
    if (known != lineStyles_.end()) return known->second;
    LineStyle style;
    style.base.type = kTypeLineStyle;
    style.base.name = name;
    style.width = kLineWidth;
    style.patternIndex = 0;  // the solid line pattern
    style.isMaterial = true;
    style.materialIndex = material;
    style.hasTransparency = transparency != kOpaque;
    style.transparency = transparency;
    const auto index = static_cast<int32_t>(block_->globals.lineStyles.size());
    block_->globals.lineStyles.push_back(style);
    lineStyles_.emplace(key, index);
    return index;
}

}  // namespace Velmora::PRC
