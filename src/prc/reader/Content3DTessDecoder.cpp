// Triangulated indices are offsets into the flat coordinate and normal arrays, three a point;
// texture indices are offsets into the flat texture coordinate array, two a point. Every one
// is checked against its array before use, so a bad entity fails its tessellation alone.

#include "prc/reader/Content3DTessDecoder.h"

#include <algorithm>
#include <bit>

#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kCoordinatesPerVertex = 3;
constexpr uint32_t kCoordinatesPerTexel = 2;
constexpr uint32_t kCornersPerTriangle = 3;
constexpr uint32_t kCornersBeforeFirstTriangle = 2;
constexpr uint32_t kEntityBits = 16;
constexpr uint32_t kEntityFlagLimit = 1u << kEntityBits;
constexpr uint32_t kSingleNormalBit = 0x40000000;
constexpr uint32_t kWireSizeFlags = 0x4000 | 0x8000;
constexpr size_t kSizesWithCount = 2;

// The sixteen entity flags are four groups of four kinds.
constexpr uint32_t kBitsPerGroup = 4;
enum EntityKind : uint32_t { kPolyface = 0x1, kTriangles = 0x2, kFan = 0x4, kStrip = 0x8 };
enum EntityGroup : uint32_t { kPlain = 0, kOneNormal = 1, kTextured = 2, kOneNormalTextured = 3 };

uint32_t GroupOf(uint32_t flag) { return static_cast<uint32_t>(std::countr_zero(flag)) / kBitsPerGroup; }
uint32_t KindOf(uint32_t flag) { return flag >> (GroupOf(flag) * kBitsPerGroup); }

}  // namespace

uint32_t Content3DTessDecoder::CalculateNumberOfTrianglesFromTriangulationType(uint32_t flag, uint32_t size) {
    const uint32_t kind = flag != 0 && flag < kEntityFlagLimit && std::has_single_bit(flag) ? KindOf(flag) : 0;
    switch (kind) {
        case kTriangles: return size;
        case kFan:
        case kStrip:
            if (size <= kCornersBeforeFirstTriangle) {
                Logger::Log(LogLevel::Error, "CalculateNumberOfTrianglesFromTriangulationType() - Error!");
                return 0;
            }
            return size - kCornersBeforeFirstTriangle;
        default: break;
    }
    Logger::Log(LogLevel::Error,
                "Content3DTessDecoder::CalculateNumberOfTrianglesFromTriangulationType() - Invalid Type!");
    return 0;
}

bool Content3DTessDecoder::PrepareFace(const FaceTessData& face, std::vector<TriangulationEntry>& entries,
                                       uint64_t& triangles) const {
    int32_t material = -1;
    if (face.lineAttributes.size() == 1) {
        material = face.lineAttributes[0];
    } else {
        Logger::Log(LogLevel::Error,
                    "Content3DTessDecoder::PrepareDecode() - more than one lineAttribute not yet implemented, CHECK!");
    }
    if (face.numberOfTextureCoordinateIndices > 1) {
        Logger::Log(LogLevel::Error, "Multiple texture layers not yet supported!");
        return false;
    }
    if (face.usedEntitiesFlag >= kEntityFlagLimit) {
        Logger::Log(LogLevel::Error, "Content3DTessDecoder::PrepareDecode() - unsupported PRC_FACETESSDATA_* flag!");
        return false;
    }
    const std::vector<uint32_t>& sizes = face.triangulatedSizes;
    size_t next = 0;
    bool firstKind = true;
    for (uint32_t bit = 0; bit < kEntityBits; ++bit) {
        const uint32_t flag = 1u << bit;
        if (!(face.usedEntitiesFlag & flag)) continue;
        uint64_t count = 1;
        if (sizes.size() == kSizesWithCount || !firstKind) count = next < sizes.size() ? sizes[next++] : 0;
        firstKind = false;
        if (count == 0 || count > sizes.size() - next) {
            Logger::Log(LogLevel::Error,
                        "Content3DTessDecoder::PrepareDecode() - triangulated sizes end before the entities of "
                        "flag %u",
                        flag);
            return false;
        }
        for (uint64_t e = 0; e < count; ++e) {
            const uint32_t element = sizes[next++];
            TriangulationEntry entry;
            entry.entityFlag = flag;
            entry.material = material;
            entry.hasSingleNormal = (element & kSingleNormalBit) != 0;
            entry.numberOfTriangles =
                CalculateNumberOfTrianglesFromTriangulationType(flag, element & ~kSingleNormalBit);
            triangles += entry.numberOfTriangles;
            entries.push_back(entry);
        }
    }
    return true;
}

bool Content3DTessDecoder::PrepareDecode() {
    entries_.assign(tess_.faces.size(), {});
    const float faceShare = tess_.faces.empty() ? 0.0f : kPrepareShare / static_cast<float>(tess_.faces.size());
    bool wireSeen = false;
    uint64_t triangles = 0;
    for (size_t f = 0; f < tess_.faces.size(); ++f) {
        if (!PrepareFace(tess_.faces[f], entries_[f], triangles)) return false;
        wireSeen |= !tess_.faces[f].wireSizes.empty();
        ReportShare(faceShare);
    }
    if (wireSeen)
        Logger::Log(LogLevel::Warning,
                    "Content3DTessDecoder::PrepareDecode() - Tesselation has wireframe available (ignored for now)");
    // Each triangle takes at least one index, so the index count bounds what a file can claim.
    const size_t reserved = static_cast<size_t>(std::min<uint64_t>(triangles, tess_.triangulatedIndices.size()));
    tess_.triangleIndices.reserve(reserved * kCornersPerTriangle);
    if (!tess_.mustRecalculateNormals) tess_.normals.reserve(reserved * kCornersPerTriangle);
    if (!tess_.rawTextureCoordinates.empty()) tess_.textureCoordinates.reserve(reserved * kCornersPerTriangle);
    tess_.triangleMaterials.reserve(reserved);
    return true;
}

bool Content3DTessDecoder::LayoutOf(const TriangulationEntry& entry, Layout& layout) {
    const uint32_t flag = entry.entityFlag;
    if (flag == 0 || flag >= kEntityFlagLimit || !std::has_single_bit(flag)) {
        Logger::LogF(LogLevel::Error,
                     "Content3DTessDecoder::DecodeTriangulation(): Currently entityFlag {:d} is NOT supported!", flag);
        return false;
    }
    const uint32_t kind = KindOf(flag);
    const uint32_t group = GroupOf(flag);
    if (kind == kPolyface) {
        Logger::LogF(LogLevel::Error,
                     "Content3DTessDecoder::DecodeTriangulation(): Currently entityFlag {:d} is NOT USED by the PRC "
                     "format!",
                     flag);
        return false;
    }
    if (group == kOneNormalTextured) {
        Logger::LogF(LogLevel::Error,
                     "Content3DTessDecoder::DecodeTriangulation(): Currently entityFlag {:d} is NOT implemented!",
                     flag);
        return false;
    }
    layout.shape = kind == kTriangles ? Shape::Triangles : kind == kFan ? Shape::Fan : Shape::Strip;
    layout.oneNormal = group == kOneNormal;
    layout.textured = group == kTextured;
    return true;
}

bool Content3DTessDecoder::NextIndex(size_t& position, uint32_t& value) const {
    if (position >= tess_.triangulatedIndices.size()) {
        Logger::Log(LogLevel::Error, "Content3DTessDecoder::DecodeTriangulation() - entity runs past the indices");
        return false;
    }
    value = tess_.triangulatedIndices[position++];
    return true;
}

bool Content3DTessDecoder::ReadNormal(size_t& position, uint32_t& normal) const {
    uint32_t offset = 0;
    if (!NextIndex(position, offset)) return false;
    normal = offset / kCoordinatesPerVertex;
    if (normal >= tess_.storedNormals.size()) {
        Logger::Log(LogLevel::Error, "Content3DTessDecoder::DecodeTriangulation() - normal index %u out of range",
                    offset);
        return false;
    }
    return true;
}

bool Content3DTessDecoder::ReadCorner(const Layout& layout, uint32_t sharedNormal, size_t& position,
                                      Corner& corner) const {
    if (!tess_.mustRecalculateNormals) {
        if (layout.oneNormal) {
            corner.normal = sharedNormal;
        } else if (!ReadNormal(position, corner.normal)) {
            return false;
        }
    }
    if (layout.textured) {
        if (!NextIndex(position, corner.texture)) return false;
        if (corner.texture >= tess_.rawTextureCoordinates.size() ||
            tess_.rawTextureCoordinates.size() - corner.texture < kCoordinatesPerTexel) {
            Logger::Log(LogLevel::Error, "Content3DTessDecoder::DecodeTriangulation() - texture index %u out of range",
                        corner.texture);
            return false;
        }
        corner.hasTexture = true;
    }
    uint32_t offset = 0;
    if (!NextIndex(position, offset)) return false;
    corner.vertex = offset / kCoordinatesPerVertex;
    if (corner.vertex >= tess_.vertices.size()) {
        Logger::Log(LogLevel::Error, "Content3DTessDecoder::DecodeTriangulation() - vertex index %u out of range",
                    offset);
        return false;
    }
    return true;
}

void Content3DTessDecoder::PushTriangle(const Corner& a, const Corner& b, const Corner& c, int32_t material) {
    for (const Corner* corner : {&a, &b, &c}) {
        tess_.triangleIndices.push_back(corner->vertex);
        if (!tess_.mustRecalculateNormals) tess_.normals.push_back(tess_.storedNormals[corner->normal]);
        // Untextured corners of a textured tessellation keep the per-corner arrays aligned.
        if (corner->hasTexture) {
            const double* uv = &tess_.rawTextureCoordinates[corner->texture];
            tess_.textureCoordinates.push_back({static_cast<float>(uv[0]), static_cast<float>(uv[1])});
        } else if (!tess_.rawTextureCoordinates.empty()) {
            tess_.textureCoordinates.push_back({0.0f, 0.0f});
        }
    }
    tess_.triangleMaterials.push_back(material < 0 ? kNoMaterial : static_cast<uint32_t>(material));
}

bool Content3DTessDecoder::DecodeTriangulation(const TriangulationEntry& entry, size_t& position) {
    Layout layout;
    if (!LayoutOf(entry, layout)) return false;
    // Too short to form a triangle: already logged when counted, and nothing is read for it.
    if (entry.numberOfTriangles == 0) return true;
    const bool triangles = layout.shape == Shape::Triangles;
    if (layout.oneNormal && entry.hasSingleNormal) {
        Logger::Log(LogLevel::Error, triangles
                                         ? "Content3DTessDecoder::DecodeTriangulation() - SINLGE NORMAL FLAG NOT YET "
                                           "TESTED!"
                                         : "Content3DTessDecoder::DecodeTriangulation() - SINLGE NORMAL FLAG NOT YET "
                                           "IMPLEMENTED!");
    }
    if ((layout.oneNormal && !triangles) || layout.textured)
        Logger::Log(LogLevel::Warning, "Content3DTessDecoder::DecodeTriangulation() - entityFlag %u untested",
                    entry.entityFlag);
    const bool withNormals = !tess_.mustRecalculateNormals;
    // One normal for the whole entity, except a one-normal triangle list without the single
    // normal bit, which has one per triangle.
    const bool normalPerTriangle = layout.oneNormal && triangles && !entry.hasSingleNormal;
    uint32_t shared = 0;
    if (withNormals && layout.oneNormal && !normalPerTriangle && !ReadNormal(position, shared)) return false;
    if (triangles) return DecodeTriangleList(entry, layout, normalPerTriangle, shared, position);
    return DecodeFanOrStrip(entry, layout, shared, position);
}

bool Content3DTessDecoder::DecodeTriangleList(const TriangulationEntry& entry, const Layout& layout,
                                              bool normalPerTriangle, uint32_t shared, size_t& position) {
    const bool withNormals = !tess_.mustRecalculateNormals;
    Corner c0, c1, c2;
    for (uint32_t t = 0; t < entry.numberOfTriangles; ++t) {
        if (withNormals && normalPerTriangle && !ReadNormal(position, shared)) return false;
        if (!ReadCorner(layout, shared, position, c0) || !ReadCorner(layout, shared, position, c1) ||
            !ReadCorner(layout, shared, position, c2))
            return false;
        PushTriangle(c0, c1, c2, entry.material);
    }
    return true;
}

bool Content3DTessDecoder::DecodeFanOrStrip(const TriangulationEntry& entry, const Layout& layout, uint32_t shared,
                                            size_t& position) {
    Corner c0, c1, c2;
    if (!ReadCorner(layout, shared, position, c0) || !ReadCorner(layout, shared, position, c1)) return false;
    for (uint32_t t = 0; t < entry.numberOfTriangles; ++t) {
        if (!ReadCorner(layout, shared, position, c2)) return false;
        if (layout.shape == Shape::Fan) {
            PushTriangle(c0, c1, c2, entry.material);
        } else {
            // Every other strip triangle is turned so that all keep the same winding.
            if (t % 2 == 0) {
                PushTriangle(c0, c1, c2, entry.material);
            } else {
                PushTriangle(c1, c0, c2, entry.material);
            }
            c0 = c1;
        }
        c1 = c2;
    }
    return true;
}

bool Content3DTessDecoder::DecodeWire(const FaceTessData& face) {
    if (face.wireSizes.empty()) return false;
    const int32_t material = face.lineAttributes.size() == 1 ? face.lineAttributes[0] : -1;
    size_t position = face.startWire;
    for (const uint32_t size : face.wireSizes) {
        const uint32_t points = size & ~kWireSizeFlags;
        if (position > tess_.wireIndices.size() || points > tess_.wireIndices.size() - position) return false;
        for (uint32_t p = 0; p < points; ++p) {
            const uint32_t vertex = tess_.wireIndices[position + p] / kCoordinatesPerVertex;
            if (vertex >= tess_.vertices.size()) return false;
            if (p == 0) continue;
            tess_.triangleIndices.push_back(tess_.wireIndices[position + p - 1] / kCoordinatesPerVertex);
            tess_.triangleIndices.push_back(vertex);
            tess_.triangleMaterials.push_back(material < 0 ? kNoMaterial : static_cast<uint32_t>(material));
        }
        position += points;
    }
    return true;
}

bool Content3DTessDecoder::DoDecode() {
    if (entries_.size() != tess_.faces.size()) {
        Logger::Log(LogLevel::Error, "Content3DTessDecoder::DoDecode() - INVALID NUMBER OF FACES!");
        return false;
    }
    const float faceShare = tess_.faces.empty() ? 0.0f : kDecodeShare / static_cast<float>(tess_.faces.size());
    size_t position = 0;
    for (size_t f = 0; f < tess_.faces.size(); ++f) {
        if (tess_.decodeAsLines) {
            if (!DecodeWire(tess_.faces[f])) {
                Logger::Log(LogLevel::Error, "Content3DTessDecoder::DoDecode() - Failed to DecodeWire!");
                return false;
            }
        } else {
            for (const TriangulationEntry& entry : entries_[f]) {
                if (!DecodeTriangulation(entry, position)) {
                    Logger::Log(LogLevel::Error, "Content3DTessDecoder::DoDecode() - Failed to DecodeTriangulation!");
                    return false;
                }
            }
        }
        ReportShare(faceShare);
    }
    // Lines take their indices from the wire array, so only triangles account for these.
    if (!tess_.decodeAsLines && position != tess_.triangulatedIndices.size())
        Logger::Log(LogLevel::Error, "Content3DTessDecoder::DoDecode() - suspicious offset into tesselation indices!");
    return true;
}

}  // namespace Velmora::PRC
