// The tessellation section and its entities. The decoders that turn them into triangles work
// on the stored entities later.

#include <algorithm>

#include "format/AuthoringInterrupt.h"
#include "prc/reader/BitstreamReader.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kMinimumItemBits = 1;
constexpr uint32_t kMinimumDoubleBits = 2;
constexpr uint32_t kCoordinatesPerVertex = 3;
constexpr uint32_t kColourBytesRGB = 3;
constexpr uint32_t kColourBytesRGBA = 4;
constexpr uint8_t kOpaque = 255;
constexpr int32_t kNegativeIndexRepair = 256;
constexpr int32_t kLowestRepairable = -254;
constexpr uint32_t kWireClosing = 0x10000000;
constexpr uint32_t kWireContinuous = 0x20000000;
constexpr uint32_t kWirePointMask = 0x0FFFFFFF;
constexpr size_t kMinimumClosingIndices = 3;

int32_t MinusOne(uint32_t value) { return static_cast<int32_t>(value) - 1; }

// Corners that a face's triangulated entities cover, one vertex colour each: three per
// triangle of the triangle kinds, one per vertex of fans and strips.
uint32_t FaceCornerCount(const FaceTessData& face) {
    constexpr uint32_t kHighestEntityBit = 16;
    constexpr uint32_t kSingleNormalBit = 0x40000000;
    constexpr uint32_t kTriangleFlags = 0x0002 | 0x0020 | 0x0200 | 0x2000;
    const auto& sizes = face.triangulatedSizes;
    size_t next = 0;
    bool firstKind = true;
    uint64_t corners = 0;
    for (uint32_t bit = 0; bit < kHighestEntityBit; ++bit) {
        const uint32_t flag = 1u << bit;
        if (!(face.usedEntitiesFlag & flag)) continue;
        uint32_t entries = 1;
        if (sizes.size() == 2 || !firstKind) {
            if (next >= sizes.size()) break;
            entries = sizes[next++];
        }
        firstKind = false;
        for (uint32_t e = 0; e < entries && next < sizes.size(); ++e) {
            const uint64_t size = sizes[next++] & ~kSingleNormalBit;
            corners += (flag & kTriangleFlags) ? size * kCoordinatesPerVertex : size;
        }
    }
    return corners > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(corners);
}

}  // namespace

bool BitstreamReader::ReadUnsignedArray(std::vector<uint32_t>& values, const char* what) {
    const uint32_t count = ReadUnsignedInteger();
    if (!CountFits(count, kMinimumItemBits, what)) return false;
    values.resize(count);
    for (uint32_t& value : values) value = ReadUnsignedInteger();
    return true;
}

bool BitstreamReader::ReadDoubleArray(std::vector<double>& values, const char* what) {
    const uint32_t count = ReadUnsignedInteger();
    if (!CountFits(count, kMinimumDoubleBits, what)) return false;
    values.resize(count);
    for (double& value : values) value = ReadDouble();
    return true;
}

bool BitstreamReader::ConvertRawCoordinatesToVertices(BaseTessData& tess) {
    const size_t count = tess.rawCoordinates.size();
    if (count == 0 || count % kCoordinatesPerVertex != 0) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ConvertRawCoordinatesToVertices() - invalid number of coords");
        return false;
    }
    tess.vertices.resize(count / kCoordinatesPerVertex);
    for (size_t i = 0; i < tess.vertices.size(); ++i)
        for (size_t c = 0; c < kCoordinatesPerVertex; ++c)
            tess.vertices[i][c] = static_cast<float>(tess.rawCoordinates[i * kCoordinatesPerVertex + c]);
    return true;
}

bool BitstreamReader::ReadRawCoordinates(BaseTessData& tess) {
    tess.isCalculated = ReadBit() != 0;
    return ReadDoubleArray(tess.rawCoordinates, "coordinate") && ConvertRawCoordinatesToVertices(tess);
}

bool BitstreamReader::ReadVertexColors(VertexColours& colours, uint32_t count) {
    colours.hasAlpha = ReadBit() != 0;
    colours.second = ReadBit() != 0;
    if (count == 0) return true;
    const uint32_t bytesEach = colours.hasAlpha ? kColourBytesRGBA : kColourBytesRGB;
    if (!CountFits(count, 1, "vertex colour")) return false;
    colours.rgba.resize(size_t{count} * kColourBytesRGBA);
    auto readColour = [&](uint8_t* rgba) {
        rgba[0] = ReadByte();
        rgba[1] = ReadByte();
        rgba[2] = ReadByte();
        rgba[3] = colours.hasAlpha ? ReadByte() : kOpaque;
    };
    if (colours.second) {
        Logger::Log(LogLevel::Error,
                    "BitstreamReader::ReadVertexColors() - THIS FORM IS NOT DEFINED BY THE PRC FORMAT!");
        if (!CountFits(count, bytesEach * 8, "vertex colour")) return false;
        for (uint32_t i = 0; i < count; ++i) readColour(&colours.rgba[size_t{i} * kColourBytesRGBA]);
        return true;
    }
    // The first corner's colour stands alone; each later corner has a bit that says whether
    // it repeats the corner before.
    readColour(&colours.rgba[0]);
    for (uint32_t i = 1; i < count; ++i) {
        uint8_t* rgba = &colours.rgba[size_t{i} * kColourBytesRGBA];
        if (ReadBit()) {
            std::copy_n(rgba - kColourBytesRGBA, kColourBytesRGBA, rgba);
        } else {
            readColour(rgba);
        }
    }
    return true;
}

bool BitstreamReader::ReadFaceTess(FaceTessData& face) {
    if (ReadUnsignedInteger() != kTypeTessFace) return false;
    const uint32_t attributes = ReadUnsignedInteger();
    if (!CountFits(attributes, kMinimumItemBits, "line attribute")) return false;
    face.lineAttributes.resize(attributes);
    for (int32_t& attribute : face.lineAttributes) attribute = MinusOne(ReadUnsignedInteger());
    face.startWire = ReadUnsignedInteger();
    if (!ReadUnsignedArray(face.wireSizes, "wire size")) return false;
    face.usedEntitiesFlag = ReadUnsignedInteger();
    face.startTriangulated = ReadUnsignedInteger();
    if (!ReadUnsignedArray(face.triangulatedSizes, "triangulated size")) return false;
    face.numberOfTextureCoordinateIndices = ReadUnsignedInteger();
    face.hasVertexColours = ReadBit() != 0;
    if (face.hasVertexColours && !ReadVertexColors(face.vertexColours, FaceCornerCount(face))) return false;
    if (!face.lineAttributes.empty()) face.behaviour = ReadUnsignedInteger();
    return true;
}

bool BitstreamReader::ReadContent3DTess(Content3DTess& tess) {
    if (!CurrentGlobals()) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadContent3DTess() - GLOBAL DATA NOT AVAILABLE!");
        return false;
    }
    if (!ReadRawCoordinates(tess)) return false;
    tess.hasFaces = ReadBit() != 0;
    tess.hasLoops = ReadBit() != 0;
    tess.mustRecalculateNormals = ReadBit() != 0;
    if (tess.mustRecalculateNormals) {
        tess.normalsRecalculationFlags = ReadByte();
        tess.creaseAngle = ReadDouble();
    }
    const uint32_t normals = ReadUnsignedInteger();
    if (normals % kCoordinatesPerVertex != 0) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadContent3DTess() - INVALID NUMBER OF NORMALS!");
        return false;
    }
    if (!CountFits(normals, kMinimumDoubleBits, "normal component")) return false;
    tess.storedNormals.resize(normals / kCoordinatesPerVertex);
    for (Vec3f& normal : tess.storedNormals) normal = ReadVector3();
    if (!ReadUnsignedArray(tess.wireIndices, "wire index") ||
        !ReadUnsignedArray(tess.triangulatedIndices, "triangulated index"))
        return false;
    const uint32_t faces = ReadUnsignedInteger();
    if (!CountFits(faces, kMinimumItemBits, "face")) return false;
    tess.faces.resize(faces);
    for (FaceTessData& face : tess.faces)
        if (!ReadFaceTess(face)) return false;
    return ReadDoubleArray(tess.rawTextureCoordinates, "texture coordinate");
}

bool BitstreamReader::ParseWires(Content3DWireTess& tess, const std::vector<int32_t>& array) {
    const int32_t largest = static_cast<int32_t>(tess.vertices.size() * kCoordinatesPerVertex) -
                            static_cast<int32_t>(kCoordinatesPerVertex);
    size_t k = 0;
    int32_t lastIndex = 0;
    while (k < array.size()) {
        int32_t header = array[k++];
        if (header < 0) {
            Logger::Log(LogLevel::Warning,
                        "BitstreamReader::ReadContent3DWireTess() - unexpected negative index '%d' corrected to '%d'",
                        header, header + kNegativeIndexRepair);
            header += kNegativeIndexRepair;
        }
        Wire wire;
        const auto bits = static_cast<uint32_t>(header);
        wire.numberOfPoints = bits & kWirePointMask;
        wire.isClosing = (bits & kWireClosing) != 0;
        if (bits & kWireContinuous) {
            if (tess.wires.empty()) {
                Logger::Log(LogLevel::Error,
                            "BitstreamReader::ReadContent3DWireTess() - PRC_3DWIRETESSDATA_IsContinuous "
                            "set without a preciding wire!");
                return false;
            }
            wire.isContinuous = true;
            const Wire& previous = tess.wires.back();
            const size_t n = previous.indices.size();
            const size_t back = previous.isClosing ? 2 : 1;
            if (n >= back) wire.indices.push_back(previous.indices[n - back]);
        }
        if (wire.numberOfPoints > array.size() - k) {
            Logger::Log(LogLevel::Error, "BitstreamReader::ReadContent3DWireTess() - invalid wire index!");
            return false;
        }
        for (uint32_t p = 0; p < wire.numberOfPoints; ++p) {
            int32_t i = array[k++];
            if (i < 0) {
                const int32_t repaired = i < kLowestRepairable ? (lastIndex + 3 < largest ? lastIndex + 3 : lastIndex)
                                                               : i + kNegativeIndexRepair;
                Logger::Log(
                    LogLevel::Warning,
                    "BitstreamReader::ReadContent3DWireTess() - Invalid index into vertices, auto-corrected: %d -> %d",
                    i, repaired);
                i = repaired;
            }
            if (i > largest) {
                Logger::Log(LogLevel::Error, "BitstreamReader::ReadContent3DWireTess() - invalid wire index!");
                return false;
            }
            wire.indices.push_back(i);
            lastIndex = i;
        }
        if (wire.isClosing) {
            if (wire.indices.size() < kMinimumClosingIndices) {
                Logger::Log(LogLevel::Error, "BitstreamReader::ReadContent3DWireTess() - invalid closing wire");
                return false;
            }
            wire.indices.push_back(wire.indices.front());
        }
        tess.wires.push_back(std::move(wire));
    }
    return true;
}

bool BitstreamReader::ReadContent3DWireTess(Content3DWireTess& tess) {
    if (!ReadRawCoordinates(tess)) return false;
    tess.numberOfWireIndices = ReadUnsignedInteger();
    if (tess.numberOfWireIndices == 0) return true;
    if (!CountFits(tess.numberOfWireIndices, kMinimumItemBits, "wire index")) return false;
    std::vector<int32_t> array(tess.numberOfWireIndices);
    for (int32_t& value : array) value = ReadInteger();
    return ParseWires(tess, array);
}

bool BitstreamReader::ReadContentTessMarkup(ContentMarkupTess& tess) {
    if (!CurrentGlobals()) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadContentTessMarkup() - GLOBAL DATA NOT AVAILABLE!");
        return false;
    }
    tess.isCalculated = ReadBit() != 0;
    if (!ReadDoubleArray(tess.rawCoordinates, "markup coordinate")) return false;
    if (!ReadUnsignedArray(tess.codes, "markup code")) return false;
    const uint32_t texts = ReadUnsignedInteger();
    if (!CountFits(texts, kMinimumItemBits, "markup text")) return false;
    tess.texts.resize(texts);
    for (std::string& text : tess.texts) text = ReadString();
    return true;
}

std::shared_ptr<BaseTessData> BitstreamReader::ReadTessellation() {
    const uint32_t type = ReadUnsignedInteger();
    switch (type) {
        case kTypeTess3D: {
            auto tess = std::make_shared<Content3DTess>();
            return ReadContent3DTess(*tess) ? tess : nullptr;
        }
        case kTypeTess3DWire: {
            auto tess = std::make_shared<Content3DWireTess>();
            return ReadContent3DWireTess(*tess) ? tess : nullptr;
        }
        case kTypeTessMarkup: {
            auto tess = std::make_shared<ContentMarkupTess>();
            return ReadContentTessMarkup(*tess) ? tess : nullptr;
        }
        case kTypeTessHighlyCompressed: {
            auto tess = std::make_shared<HighlyCompressed3DTess>();
            return ReadHighlyCompressed3DTess(*tess) ? tess : nullptr;
        }
        default: break;
    }
    Logger::Log(LogLevel::Error, "BitstreamReader::ReadBaseTessData() - WRONG DATE TYPE");
    return nullptr;
}

bool BitstreamReader::ReadFileStructureTessellationDecompressed(TessellationSection& section) {
    section.base.type = kTypeTessellationSection;
    if (!ReadContentPRCBase(section.base, true)) return false;
    const uint32_t count = ReadUnsignedInteger();
    if (!CountFits(count, kMinimumItemBits, "tessellation")) return false;
    for (uint32_t i = 0; i < count; ++i) {
        // A large section is the longest stretch of a load; an interrupt ends it here.
        if (FormatGlue::AuthoringInterrupt::Interrupted()) return false;
        auto tess = ReadTessellation();
        if (!tess) return false;
        section.tessellations.push_back(std::move(tess));
        ReportProgress();
    }
    if (!ReadUserData(section.userData)) return false;
    section.unreadBits = RemainingBits();
    return true;
}

}  // namespace Velmora::PRC
