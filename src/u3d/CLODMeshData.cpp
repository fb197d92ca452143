#include "u3d/CLODMeshData.h"

#include <algorithm>
#include <span>

#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr LogLevel kDumpLevel = LogLevel::ExtraVerbose;
constexpr uint32_t kPrintedLayers = 4;  // the dump shows the first four tex coord layers

uint32_t Capped(uint64_t count) { return static_cast<uint32_t>(std::min<uint64_t>(count, kMaxReservedEntries)); }
}  // namespace

std::shared_ptr<AuthorMeshContinuationData> CLODMeshData::CreateContinuationData() const {
    return std::make_shared<CLODMeshContinuationData>();
}

bool CLODMeshContinuationData::Prepare(const AuthorMeshData& declaration) {
    if (!AuthorMeshContinuationData::Prepare(declaration)) return false;
    const auto* clod = dynamic_cast<const CLODMeshData*>(&declaration);
    if (!clod) return false;
    try {
        // Normals come per position and face, so three per position is the usual need,
        // whatever normalCount says.
        normals.reserve(Capped(uint64_t(clod->positionCount) * 3));
        KeepAttributesOf(*clod);
        ReserveFaces(Capped(clod->faceCount));
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void CLODMeshContinuationData::KeepAttributesOf(const AuthorMeshData& declaration) {
    // The faces stored so far are laid out for the present tables.
    if (!primitives.empty()) return;
    uint32_t layers = 0;
    if (declaration.texCoordCount != 0)
        for (const ShadingDescription& shading : declaration.shadingDescriptions)
            layers = std::max(layers, std::min(shading.layerCount, ShadingDescription::kMaxLayers));
    diffuse_.SetSlots(declaration.diffuseCount != 0 ? 1 : 0);
    specular_.SetSlots(declaration.specularCount != 0 ? 1 : 0);
    texCoords_.SetSlots(layers);
}

void CLODMeshContinuationData::ReserveFaces(size_t faces) {
    if (primitives.capacity() < faces) primitives.reserve(faces);
    if (faceCorners.capacity() < faces) faceCorners.reserve(faces);
    diffuse_.Reserve(faces);
    specular_.Reserve(faces);
    texCoords_.Reserve(faces);
}

void CLODMeshContinuationData::AddFaceAttributes(const CLODFaceAttributes* attributes) {
    if (!attributes) {
        diffuse_.Append({});
        specular_.Append({});
        texCoords_.Append({});
        return;
    }
    diffuse_.Append(std::span(&attributes->diffuse, 1));
    specular_.Append(std::span(&attributes->specular, 1));
    texCoords_.Append(attributes->texCoords);
}

void CLODMeshContinuationData::Print() const {
    if (!Logger::Passes(kDumpLevel)) return;
    PrintArrays();
    Logger::Log(kDumpLevel, "Available Faces: ");
    for (uint32_t i = 0; i < primitiveCount && i < primitives.size(); ++i) {
        const CLODFace& f = primitives[i];
        const CornerIndices d = Diffuse(i);
        const CornerIndices s = Specular(i);
        std::array<CornerIndices, kPrintedLayers> t{};
        for (uint32_t layer = 0; layer < kPrintedLayers; ++layer) t[layer] = TexCoords(i, layer);
        Logger::Log(kDumpLevel,
                    "[%04u] P{%u/%u/%u} Sd{%u} N{%u/%u/%u} D{%u/%u/%u} S{%u/%u/%u} "
                    "T{%u/%u/%u}{%u/%u/%u}{%u/%u/%u}{%u/%u/%u}",
                    i, f.positions[0], f.positions[1], f.positions[2], f.shadingId, f.normals[0], f.normals[1],
                    f.normals[2], d[0], d[1], d[2], s[0], s[1], s[2], t[0][0], t[0][1], t[0][2], t[1][0], t[1][1],
                    t[1][2], t[2][0], t[2][1], t[2][2], t[3][0], t[3][1], t[3][2]);
    }
}

}  // namespace Velmora::U3D
