#pragma once
// Tessellation entities as the tessellation section holds them. The decoded arrays
// (triangleIndices, normals, ...) are filled by the tessellation decoders, not by the reader.

#include <cstdint>
#include <string>
#include <vector>

#include "prc/reader/filestructure/Transformations.h"

namespace Velmora::PRC::FileStructure {

struct BaseTessData {
    explicit BaseTessData(uint32_t t) : type(t) {}
    virtual ~BaseTessData() = default;
    uint32_t type;
    bool isCalculated = false;
    std::vector<double> rawCoordinates;
    std::vector<Vec3f> vertices;
    std::vector<uint32_t> triangleIndices;
    std::vector<Vec3f> normals;
    std::vector<uint32_t> triangleMaterials;
    std::vector<Vec2f> textureCoordinates;
};

struct VertexColours {
    bool hasAlpha = false;
    bool second = false;        // set: the colours come one by one, not with repeat bits
    std::vector<uint8_t> rgba;  // four bytes a colour
};

struct FaceTessData {
    std::vector<int32_t> lineAttributes;
    uint32_t startWire = 0;
    std::vector<uint32_t> wireSizes;
    uint32_t usedEntitiesFlag = 0;
    uint32_t startTriangulated = 0;
    std::vector<uint32_t> triangulatedSizes;
    uint32_t numberOfTextureCoordinateIndices = 0;
    bool hasVertexColours = false;
    VertexColours vertexColours;
    uint32_t behaviour = 0;
};

struct Content3DTess : BaseTessData {
    Content3DTess() : BaseTessData(172) {}
    bool hasFaces = false;
    bool hasLoops = false;
    bool mustRecalculateNormals = false;
    uint8_t normalsRecalculationFlags = 0;
    double creaseAngle = 0.0;
    std::vector<uint32_t> wireIndices;
    std::vector<uint32_t> triangulatedIndices;
    std::vector<FaceTessData> faces;
    std::vector<double> rawTextureCoordinates;
    std::vector<Vec3f> storedNormals;
    bool decodeAsLines = false;
};

struct Wire {
    uint32_t numberOfPoints = 0;
    std::vector<int32_t> indices;
    bool isClosing = false;
    bool isContinuous = false;
};

struct Content3DWireTess : BaseTessData {
    Content3DWireTess() : BaseTessData(175) {}
    uint32_t numberOfWireIndices = 0;
    std::vector<Wire> wires;
};

struct ContentMarkupTess : BaseTessData {
    ContentMarkupTess() : BaseTessData(176) {}
    std::vector<uint32_t> codes;
    std::vector<std::string> texts;
    std::string label;
};

// Texture parameters of a highly compressed tessellation: a packed bit stream of per-corner
// decisions and the coordinates it draws from.
struct CompressedTextureParameter {
    uint32_t binaryBitCount = 0;
    uint8_t header[3] = {0, 0, 0};
    std::vector<uint8_t> binaryData;  // the packed bits, most significant first
    uint32_t binaryValueCount = 0;
    uint32_t parameterKind = 0;
    uint32_t parameterBits = 0;
    double tolerance = 0.0;
    std::vector<float> coordinates;
};

// A mesh stored as the decisions of a walk over its triangles; the decoder walks it again.
struct HighlyCompressed3DTess : BaseTessData {
    HighlyCompressed3DTess() : BaseTessData(173) {}
    bool hasFaceNormals = false;
    double tolerance = 0.0;
    double origin[3] = {0.0, 0.0, 0.0};
    std::vector<int32_t> pointArray;
    std::vector<uint8_t> edgeStatusArray;
    std::vector<int32_t> triangleFaceArray;
    int32_t numberOfFaces = 0;
    std::vector<uint8_t> isReferencedArray;
    uint32_t referencedTotal = 0;
    std::vector<int32_t> pointReferenceArray;
    bool normalsRecalculated = false;
    // Stored normals.
    uint8_t normalBits = 0;
    std::vector<uint8_t> normalFlagArray;
    std::vector<uint16_t> normalAngleArray;
    std::vector<uint8_t> faceIsPlanarArray;
    // Recalculated normals.
    std::vector<uint8_t> reversedArray;
    double creaseAngle = 0.0;
    uint8_t recalculationFlags = 0;
    bool hasPerFaceColours = false;
    std::vector<uint8_t> faceColourFlags;
    std::vector<uint8_t> pointColourArray;
    bool isMultiLineAttributes = false;
    std::vector<uint8_t> multiLineFlags;
    std::vector<int32_t> styleArray;  // -1 for none
    bool noTextures = true;
    CompressedTextureParameter textures;
    bool allFacesTextured = false;
    std::vector<uint8_t> faceTexturedFlags;
    bool hasExtra = false;
    std::vector<uint8_t> extraData;
};

}  // namespace Velmora::PRC::FileStructure
