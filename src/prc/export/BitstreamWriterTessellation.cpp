// The tessellation section and its plain and highly compressed entities.

#include <algorithm>

#include "prc/export/BitstreamWriter.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kCoordinatesPerVertex = 3;
constexpr uint32_t kEdgeStatusBits = 2;
constexpr uint32_t kIndexBitCountBits = 6;
constexpr uint32_t kColourBits = 8;
constexpr uint32_t kExtraBits = 8;
constexpr uint32_t kStyleBits = 16;
constexpr uint32_t kTextureHeaderBytes = 3;
constexpr uint32_t kBitsPerByte = 8;
constexpr uint32_t kOriginCoordinates = 3;
constexpr uint32_t kCompressedReferencesFrom = 4;
constexpr uint32_t kNoStyle = 0xFFFF;

uint32_t PlusOne(int32_t index) { return static_cast<uint32_t>(index + 1); }

// Faces of a highly compressed tessellation: one above the largest face number, as the reader
// counts them.
uint32_t CountFaces(const HighlyCompressed3DTess& tess) {
    int64_t largest = -1;
    for (const int32_t face : tess.triangleFaceArray) largest = std::max<int64_t>(largest, face);
    return static_cast<uint32_t>(largest + 1);
}

}  // namespace

void BitstreamWriter::WriteBitFlags(const std::vector<uint8_t>& flags) {
    for (const uint8_t flag : flags) WriteBit(flag != 0);
}

void BitstreamWriter::WriteDoubleArray(const std::vector<double>& values) {
    WriteUnsignedInteger(static_cast<uint32_t>(values.size()));
    for (const double value : values) WriteDouble(value);
}

void BitstreamWriter::WriteUnsignedArray(const std::vector<uint32_t>& values) {
    WriteUnsignedInteger(static_cast<uint32_t>(values.size()));
    for (const uint32_t value : values) WriteUnsignedInteger(value);
}

bool BitstreamWriter::WriteVertexColors(const VertexColours& colours, bool isOptimized) {
    if (isOptimized) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteVertexColors() - isOptimized has to be FALSE!");
        return false;
    }
    // Colours are not exported; a face never announces them.
    (void)colours;
    return true;
}

bool BitstreamWriter::WriteFaceTess(const FaceTessData& face) {
    WriteUnsignedInteger(kTypeTessFace);
    WriteUnsignedInteger(static_cast<uint32_t>(face.lineAttributes.size()));
    for (const int32_t attribute : face.lineAttributes) WriteUnsignedInteger(PlusOne(attribute));
    WriteUnsignedInteger(face.startWire);
    WriteUnsignedArray(face.wireSizes);
    WriteUnsignedInteger(face.usedEntitiesFlag);
    WriteUnsignedInteger(face.startTriangulated);
    WriteUnsignedArray(face.triangulatedSizes);
    WriteUnsignedInteger(face.numberOfTextureCoordinateIndices);
    WriteBit(false);  // no vertex colours
    if (!face.lineAttributes.empty()) WriteUnsignedInteger(face.behaviour);
    return true;
}

bool BitstreamWriter::WriteContent3DTess(const Content3DTess& tess) {
    if (tess.rawCoordinates.empty() || tess.rawCoordinates.size() % kCoordinatesPerVertex != 0) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteBaseTessData() - Failed to write tesselation");
        return false;
    }
    WriteBit(tess.isCalculated);
    WriteDoubleArray(tess.rawCoordinates);
    WriteBit(tess.hasFaces);
    WriteBit(tess.hasLoops);
    WriteBit(tess.mustRecalculateNormals);
    if (tess.mustRecalculateNormals) {
        WriteByte(tess.normalsRecalculationFlags);
        WriteDouble(tess.creaseAngle);
    }
    WriteUnsignedInteger(static_cast<uint32_t>(tess.storedNormals.size() * kCoordinatesPerVertex));
    for (const Vec3f& normal : tess.storedNormals) WriteVector3(normal);
    WriteUnsignedArray(tess.wireIndices);
    WriteUnsignedArray(tess.triangulatedIndices);
    WriteUnsignedInteger(static_cast<uint32_t>(tess.faces.size()));
    for (const FaceTessData& face : tess.faces)
        if (!WriteFaceTess(face)) return false;
    WriteDoubleArray(tess.rawTextureCoordinates);
    return true;
}

bool BitstreamWriter::WriteBaseTessData(const BaseTessData& tess) {
    bool ok = false;
    if (tess.type == kTypeTess3D) {
        WriteUnsignedInteger(kTypeTess3D);
        ok = WriteContent3DTess(static_cast<const Content3DTess&>(tess));
    } else if (tess.type == kTypeTessHighlyCompressed) {
        WriteUnsignedInteger(kTypeTessHighlyCompressed);
        ok = WriteHighlyCompressed3DTess(static_cast<const HighlyCompressed3DTess&>(tess));
    } else {
        Logger::Log(LogLevel::Error, "BitstreamReader::WriteBaseTessData() - WRONG DATE TYPE");
        return false;
    }
    if (!ok) Logger::Log(LogLevel::Error, "BitstreamWriter::WriteBaseTessData() - Failed to write tesselation");
    return ok;
}

bool BitstreamWriter::WriteTessellationSection(const TessellationSection& section) {
    WriteContentPRCBase(section.base, true);
    WriteUnsignedInteger(static_cast<uint32_t>(section.tessellations.size()));
    for (const auto& tess : section.tessellations)
        if (!tess || !WriteBaseTessData(*tess)) return false;
    WriteUserData(section.userData);
    return true;
}

bool BitstreamWriter::WriteCompressedTextureParameter(const CompressedTextureParameter& texture) {
    if (texture.binaryData.size() < (size_t{texture.binaryBitCount} + kBitsPerByte - 1) / kBitsPerByte) {
        Logger::Log(LogLevel::Error,
                    "BitstreamWriter::WriteCompressedTextureParameter() - FAILED TO WriteFloatsAsBytes");
        return false;
    }
    WriteUnsignedInteger(texture.binaryBitCount);
    for (uint32_t i = 0; i < kTextureHeaderBytes; ++i) WriteBits(texture.header[i], kBitsPerByte);
    for (uint32_t i = 0; i < texture.binaryBitCount; ++i)
        WriteBit((texture.binaryData[i / kBitsPerByte] & (0x80u >> (i % kBitsPerByte))) != 0);
    WriteUnsignedInteger(texture.binaryValueCount);
    WriteUnsignedInteger(texture.parameterKind);
    if (!WriteBitNumberThenUnsignedInteger(texture.parameterBits) || !WriteDouble(texture.tolerance)) return false;
    WriteUnsignedInteger(static_cast<uint32_t>(texture.coordinates.size()));
    for (const float value : texture.coordinates) WriteFloat(value);
    return true;
}

bool BitstreamWriter::WriteHighlyCompressedTopology(const HighlyCompressed3DTess& tess, uint32_t faces) {
    (void)faces;
    for (uint32_t i = 0; i < kOriginCoordinates; ++i) WriteFloat(static_cast<float>(tess.origin[i]));
    if (!WriteCompressedIntegerArray(tess.pointArray) || !WriteCharacterArray(tess.edgeStatusArray, kEdgeStatusBits) ||
        !WriteCompressedIndicesArray(tess.triangleFaceArray))
        return false;
    WriteUnsignedInteger(static_cast<uint32_t>(tess.isReferencedArray.size()));
    WriteBitFlags(tess.isReferencedArray);
    const auto referenced = static_cast<uint32_t>(
        std::count_if(tess.isReferencedArray.begin(), tess.isReferencedArray.end(), [](uint8_t f) { return f != 0; }));
    std::vector<uint8_t> differences, bitCounts;
    if (!CalculateIndexBitCounts(tess.pointReferenceArray, differences, bitCounts)) return false;
    // The reader takes the form from the number of referenced points, not from a flag.
    if (referenced < kCompressedReferencesFrom)
        WriteCharacterArrayUncompressed(differences);
    else if (!WriteCharacterArrayCompressed(differences, kIndexBitCountBits))
        return false;
    return WriteCompressedIndicesValues(tess.pointReferenceArray, bitCounts);
}

bool BitstreamWriter::WriteHighlyCompressedNormals(const HighlyCompressed3DTess& tess, uint32_t faces) {
    WriteBit(tess.normalsRecalculated);
    if (tess.normalsRecalculated) {
        if (tess.reversedArray.size() != tess.triangleFaceArray.size()) return false;
        WriteBitFlags(tess.reversedArray);
        if (!WriteDouble(tess.creaseAngle)) return false;
        WriteByte(tess.recalculationFlags);
        return true;
    }
    if (tess.normalBits == 0 || tess.faceIsPlanarArray.size() != faces) return false;
    WriteByte(tess.normalBits);
    WriteUnsignedInteger(static_cast<uint32_t>(tess.normalFlagArray.size()));
    WriteBitFlags(tess.normalFlagArray);
    if (!WriteShortArray(tess.normalAngleArray, tess.normalBits)) return false;
    WriteBitFlags(tess.faceIsPlanarArray);
    return true;
}

bool BitstreamWriter::WriteHighlyCompressedAttributes(const HighlyCompressed3DTess& tess, uint32_t faces) {
    WriteBit(tess.hasPerFaceColours);
    if (tess.hasPerFaceColours) {
        if (tess.faceColourFlags.size() != faces) return false;
        WriteBitFlags(tess.faceColourFlags);
        if (!WriteCharacterArray(tess.pointColourArray, kColourBits)) return false;
    }
    WriteBit(tess.isMultiLineAttributes);
    if (tess.isMultiLineAttributes) {
        if (tess.multiLineFlags.size() != faces) return false;
        WriteBitFlags(tess.multiLineFlags);
    }
    std::vector<uint16_t> styles(tess.styleArray.size());
    for (size_t i = 0; i < styles.size(); ++i) {
        if (tess.styleArray[i] < -1 || tess.styleArray[i] >= static_cast<int32_t>(kNoStyle)) return false;
        styles[i] = static_cast<uint16_t>(tess.styleArray[i] + 1);
    }
    if (!WriteShortArray(styles, kStyleBits)) return false;
    WriteBit(tess.noTextures);
    if (!tess.noTextures) {
        if (!WriteCompressedTextureParameter(tess.textures)) return false;
        WriteBit(tess.allFacesTextured);
        if (!tess.allFacesTextured) {
            if (tess.faceTexturedFlags.size() != faces) return false;
            WriteBitFlags(tess.faceTexturedFlags);
        }
    }
    WriteBit(tess.hasExtra);
    if (tess.hasExtra && !WriteCharacterArray(tess.extraData, kExtraBits)) return false;
    return true;
}

bool BitstreamWriter::WriteHighlyCompressed3DTess(const HighlyCompressed3DTess& tess) {
    const uint32_t faces = CountFaces(tess);
    if (faces == 0) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteHighlyCompressed3DTess() - Mesh with no face data!");
        return false;
    }
    WriteBit(tess.isCalculated);
    WriteBit(tess.hasFaceNormals);
    if (!WriteDouble(tess.tolerance)) return false;
    if (!WriteHighlyCompressedTopology(tess, faces) || !WriteHighlyCompressedNormals(tess, faces) ||
        !WriteHighlyCompressedAttributes(tess, faces)) {
        Logger::Log(LogLevel::Error,
                    "BitstreamWriter::WriteHighlyCompressed3DTess() - arrays do not match the tessellation");
        return false;
    }
    return true;
}

}  // namespace Velmora::PRC
