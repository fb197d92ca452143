// The arrays of a highly compressed tessellation, in stream order. Nothing here interprets
// them: the decoder walks them later and checks that each is consumed to its end.

#include <algorithm>

#include "prc/reader/BitstreamReader.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kEdgeStatusBits = 2;
constexpr uint32_t kIndexBitCountBits = 6;
constexpr uint32_t kColourBits = 8;
constexpr uint32_t kExtraBits = 8;
constexpr uint32_t kStyleBits = 16;
constexpr uint32_t kTextureHeaderBytes = 3;
constexpr uint32_t kOriginCoordinates = 3;
// With this many referenced points or more, the reference array is stored compressed.
constexpr uint32_t kCompressedReferencesFrom = 4;

constexpr const char* kReader = "BitstreamReader::ReadHighlyCompressed3DTess()";

}  // namespace

bool BitstreamReader::ReadBitFlags(std::vector<uint8_t>& flags, uint64_t count, uint32_t* ones) {
    if (!CountFits(count, 1, "flag")) return false;
    flags.resize(count);
    uint32_t total = 0;
    for (uint8_t& flag : flags) {
        flag = static_cast<uint8_t>(ReadBit());
        total += flag;
    }
    if (ones) *ones = total;
    return true;
}

bool BitstreamReader::ReadCompressedIndicesArray(std::vector<int32_t>& array) {
    std::vector<uint8_t> bitCounts;
    if (!ReadCharacterArray(bitCounts, kIndexBitCountBits)) return false;
    if (bitCounts.empty()) {
        Logger::Log(LogLevel::Warning, "BitstreamReader::ReadCompressedIndicesArray() - with empty character array!");
        return true;
    }
    return ReadCompressedIndicesArrayWithCharArray(array, bitCounts);
}

bool BitstreamReader::ReadBinaryTextureData(CompressedTextureParameter& texture) {
    texture.binaryBitCount = ReadUnsignedInteger();
    for (uint32_t i = 0; i < kTextureHeaderBytes; ++i) texture.header[i] = static_cast<uint8_t>(ReadBits(kByteBits));
    if (!CountFits(texture.binaryBitCount, 1, "texture bit")) return false;
    texture.binaryData.assign((uint64_t{texture.binaryBitCount} + kByteBits - 1) / kByteBits, 0);
    for (uint32_t i = 0; i < texture.binaryBitCount; ++i)
        if (ReadBit()) texture.binaryData[i / kByteBits] |= static_cast<uint8_t>(0x80u >> (i % kByteBits));
    texture.binaryValueCount = ReadUnsignedInteger();
    return true;
}

bool BitstreamReader::ReadCompressedTextureParameter(CompressedTextureParameter& texture) {
    if (!ReadBinaryTextureData(texture)) return false;
    texture.parameterKind = ReadUnsignedInteger();
    texture.parameterBits = ReadBitNumberThenUnsignedInteger();
    texture.tolerance = ReadDouble();
    const uint32_t count = ReadUnsignedInteger();
    if (count == 0) return true;
    return ReadFloatAsIntArray(texture.coordinates, count);
}

bool BitstreamReader::ReadHighlyCompressedTopology(HighlyCompressed3DTess& tess) {
    std::vector<float> origin;
    if (!ReadFloatAsIntArray(origin, kOriginCoordinates)) return false;
    for (uint32_t i = 0; i < kOriginCoordinates; ++i) tess.origin[i] = origin[i];
    if (!ReadCompressedIntegerArray(tess.pointArray)) return false;
    if (!ReadCharacterArray(tess.edgeStatusArray, kEdgeStatusBits)) return false;
    if (!ReadCompressedIndicesArray(tess.triangleFaceArray)) return false;
    int64_t largest = -1;
    for (int32_t face : tess.triangleFaceArray) largest = std::max<int64_t>(largest, face);
    tess.numberOfFaces = static_cast<int32_t>(std::min<int64_t>(largest + 1, INT32_MAX));
    if (tess.numberOfFaces <= 0) {
        tess.numberOfFaces = 0;
        Logger::Log(LogLevel::Warning, "%s - invalid number of faces (mesh ignored)", kReader);
    }
    if (!ReadBitFlags(tess.isReferencedArray, ReadUnsignedInteger(), &tess.referencedTotal)) return false;
    std::vector<uint8_t> referenceBits;
    const bool read = tess.referencedTotal < kCompressedReferencesFrom
                          ? ReadCharacterArrayUncompressed(referenceBits)
                          : ReadCharacterArrayCompressed(referenceBits, kIndexBitCountBits);
    if (!read) return false;
    if (!referenceBits.empty() && !ReadCompressedIndicesArrayWithCharArray(tess.pointReferenceArray, referenceBits))
        return false;
    return true;
}

bool BitstreamReader::ReadHighlyCompressedNormals(HighlyCompressed3DTess& tess) {
    tess.normalsRecalculated = ReadBit() != 0;
    if (tess.normalsRecalculated) {
        if (!ReadBitFlags(tess.reversedArray, tess.triangleFaceArray.size(), nullptr)) return false;
        tess.creaseAngle = ReadDouble();
        tess.recalculationFlags = ReadByte();
        return true;
    }
    tess.normalBits = ReadByte();
    if (tess.normalBits == 0) {
        Logger::Log(LogLevel::Error, "%s - UNEXPECTED VALUE", kReader);
        return false;
    }
    if (!ReadBitFlags(tess.normalFlagArray, ReadUnsignedInteger(), nullptr)) return false;
    if (!ReadShortArray(tess.normalAngleArray, tess.normalBits)) return false;
    return ReadBitFlags(tess.faceIsPlanarArray, static_cast<uint32_t>(tess.numberOfFaces), nullptr);
}

bool BitstreamReader::ReadHighlyCompressedAttributes(HighlyCompressed3DTess& tess) {
    const auto faces = static_cast<uint32_t>(tess.numberOfFaces);
    tess.hasPerFaceColours = ReadBit() != 0;
    if (tess.hasPerFaceColours) {
        if (!ReadBitFlags(tess.faceColourFlags, faces, nullptr)) return false;
        if (!ReadCharacterArray(tess.pointColourArray, kColourBits)) return false;
    }
    tess.isMultiLineAttributes = ReadBit() != 0;
    if (tess.isMultiLineAttributes) {
        Logger::Log(LogLevel::Error, "%s - isMultiLineAttributes UNTESTED!", kReader);
        if (!ReadBitFlags(tess.multiLineFlags, faces, nullptr)) return false;
    }
    std::vector<uint16_t> styles;
    if (!ReadShortArray(styles, kStyleBits)) return false;
    tess.styleArray.resize(styles.size());
    std::transform(styles.begin(), styles.end(), tess.styleArray.begin(),
                   [](uint16_t style) { return static_cast<int32_t>(style) - 1; });
    tess.noTextures = ReadBit() != 0;
    if (!tess.noTextures) {
        if (!ReadCompressedTextureParameter(tess.textures)) return false;
        tess.allFacesTextured = ReadBit() != 0;
        if (!tess.allFacesTextured && !ReadBitFlags(tess.faceTexturedFlags, faces, nullptr)) return false;
    }
    tess.hasExtra = ReadBit() != 0;
    if (tess.hasExtra && !ReadCharacterArray(tess.extraData, kExtraBits)) return false;
    return true;
}

bool BitstreamReader::ReadHighlyCompressed3DTess(HighlyCompressed3DTess& tess) {
    tess.isCalculated = ReadBit() != 0;
    tess.hasFaceNormals = ReadBit() != 0;
    tess.tolerance = ReadDouble();
    if (!ReadHighlyCompressedTopology(tess) || !ReadHighlyCompressedNormals(tess) ||
        !ReadHighlyCompressedAttributes(tess))
        return false;
    if (tess.numberOfFaces == 0) {
        Logger::Log(LogLevel::Error, "%s - Mesh with no face data!", kReader);
        return false;
    }
    return true;
}

}  // namespace Velmora::PRC
