#include "u3d/CLODMeshData.h"

#include <algorithm>

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
        KeepLayersOf(*clod);
        ReserveFaces(Capped(clod->faceCount));
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void CLODMeshContinuationData::KeepLayersOf(const AuthorMeshData& declaration) {
    // The faces stored so far are laid out for the present count.
    if (!primitives.empty()) return;
    uint32_t layers = 0;
    for (const ShadingDescription& shading : declaration.shadingDescriptions)
        layers = std::max(layers, std::min(shading.layerCount, ShadingDescription::kMaxLayers));
    keptLayers_ = layers;
}

void CLODMeshContinuationData::ReserveFaces(size_t faces) {
    if (primitives.capacity() < faces) primitives.reserve(faces);
    if (faceCorners.capacity() < faces) faceCorners.reserve(faces);
    const size_t layerEntries = faces * keptLayers_;
    if (faceTexCoords_.capacity() < layerEntries) faceTexCoords_.reserve(layerEntries);
}

void CLODMeshContinuationData::AddFaceLayers(std::span<const CornerIndices> layers) {
    const size_t given = std::min<size_t>(layers.size(), keptLayers_);
    faceTexCoords_.insert(faceTexCoords_.end(), layers.begin(), layers.begin() + given);
    faceTexCoords_.resize(faceTexCoords_.size() + (keptLayers_ - given));
}

void CLODMeshContinuationData::Print() const {
    if (!Logger::Passes(kDumpLevel)) return;
    PrintArrays();
    Logger::Log(kDumpLevel, "Available Faces: ");
    for (uint32_t i = 0; i < primitiveCount && i < primitives.size(); ++i) {
        const CLODFace& f = primitives[i];
        std::array<CornerIndices, kPrintedLayers> t{};
        for (uint32_t layer = 0; layer < kPrintedLayers; ++layer) t[layer] = TexCoords(i, layer);
        Logger::Log(kDumpLevel,
                    "[%04u] P{%u/%u/%u} Sd{%u} N{%u/%u/%u} D{%u/%u/%u} S{%u/%u/%u} "
                    "T{%u/%u/%u}{%u/%u/%u}{%u/%u/%u}{%u/%u/%u}",
                    i, f.positions[0], f.positions[1], f.positions[2], f.shadingId, f.normals[0], f.normals[1],
                    f.normals[2], f.diffuse[0], f.diffuse[1], f.diffuse[2], f.specular[0], f.specular[1], f.specular[2],
                    t[0][0], t[0][1], t[0][2], t[1][0], t[1][1], t[1][2], t[2][0], t[2][1], t[2][2], t[3][0], t[3][1],
                    t[3][2]);
    }
}

}  // namespace Velmora::U3D
