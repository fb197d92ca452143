#pragma once
// Plain 3D tessellations: each face lists triangulated entities (triangle lists, fans and
// strips, with per-corner, per-triangle or one normal, optionally textured) whose corners are
// read in turn from the tessellation's triangulated indices.

#include <cstdint>
#include <vector>

#include "prc/reader/TesselationDecoder.h"

namespace Velmora::PRC {

class Content3DTessDecoder : public TesselationDecoder {
public:
    struct TriangulationEntry {
        uint32_t entityFlag = 0;
        int32_t material = -1;  // a style index, -1 for none
        uint32_t numberOfTriangles = 0;
        bool hasSingleNormal = false;
    };

    Content3DTessDecoder(FileStructure::Content3DTess& tess, FormatGlue::AuthoringProgress* progress,
                         float progressSpan)
        : TesselationDecoder(progress, progressSpan), tess_(tess) {}

    bool PrepareDecode() override;
    bool DoDecode() override;

    // Triangles an entity of this kind and size yields; 0, logged, for a kind without
    // triangles or a fan or strip too short for one.
    static uint32_t CalculateNumberOfTrianglesFromTriangulationType(uint32_t flag, uint32_t size);

    const std::vector<std::vector<TriangulationEntry>>& Entries() const { return entries_; }

private:
    enum class Shape { Triangles, Fan, Strip };
    // How an entity's corners are laid out in the index stream.
    struct Layout {
        Shape shape = Shape::Triangles;
        bool oneNormal = false;
        bool textured = false;
    };
    struct Corner {
        uint32_t vertex = 0;
        uint32_t normal = 0;
        uint32_t texture = 0;
        bool hasTexture = false;
    };

    bool PrepareFace(const FileStructure::FaceTessData& face, std::vector<TriangulationEntry>& entries,
                     uint64_t& triangles) const;
    bool DecodeTriangulation(const TriangulationEntry& entry, size_t& position);
    bool DecodeTriangleList(const TriangulationEntry& entry, const Layout& layout, bool normalPerTriangle,
                            uint32_t shared, size_t& position);
    bool DecodeFanOrStrip(const TriangulationEntry& entry, const Layout& layout, uint32_t shared, size_t& position);
    bool DecodeWire(const FileStructure::FaceTessData& face);
    static bool LayoutOf(const TriangulationEntry& entry, Layout& layout);

    bool NextIndex(size_t& position, uint32_t& value) const;
    bool ReadNormal(size_t& position, uint32_t& normal) const;
    bool ReadCorner(const Layout& layout, uint32_t sharedNormal, size_t& position, Corner& corner) const;
    void PushTriangle(const Corner& a, const Corner& b, const Corner& c, int32_t material);

    FileStructure::Content3DTess& tess_;
    std::vector<std::vector<TriangulationEntry>> entries_;
};

}  // namespace Velmora::PRC
