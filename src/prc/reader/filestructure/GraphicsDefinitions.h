#pragma once
// The graphic definitions of a file structure's globals: pictures, textures, materials, line
// patterns, line styles and fill patterns.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "prc/reader/filestructure/ContentBase.h"
#include "prc/reader/filestructure/Transformations.h"

namespace Velmora::PRC::FileStructure {

struct BaseTessData;

struct Colour {
    float red = 0, green = 0, blue = 0;
};

struct Picture {
    ContentPRCBase base;
    int32_t format = 0;
    int32_t uncompressedFileIndex = -1;
    uint32_t width = 0;
    uint32_t height = 0;
};

struct TextureDefinition {
    ContentPRCBase base;
    int32_t pictureIndex = -1;
    uint8_t dimensions = 0;
    int32_t mappingType = 0;
    int32_t mappingOperator = 0;
    std::shared_ptr<CartesianTransformation3D> mappingTransformation;
    uint32_t mappingAttributes = 0;
    std::vector<float> intensities;
    std::vector<uint8_t> components;
    int32_t function = 0;
    float blendSource[4] = {0, 0, 0, 0};
    int32_t wrapS = 0;
    int32_t wrapT = 0;
    int32_t wrapSValue = 0;
    int32_t wrapTValue = 0;
    uint8_t flags = 0;
    int32_t alphaTest = 0;
    float alphaTestReference = 0;
    int32_t mappingU = 0, mappingV = 0, mappingW = 0;
    std::shared_ptr<TransformationBase> textureTransformation;
};

struct Material {
    explicit Material(uint32_t t) { base.type = t; }
    virtual ~Material() = default;
    ContentPRCBase base;
};

struct MaterialGeneric : Material {
    MaterialGeneric() : Material(702) {}
    uint32_t ambient = 0, diffuse = 0, emissive = 0, specular = 0;  // into the colours
    float shininess = 0, ambientAlpha = 1, diffuseAlpha = 1, emissiveAlpha = 1, specularAlpha = 1;
};

struct MaterialTextureApplication : Material {
    MaterialTextureApplication() : Material(711) {}
    int32_t materialGenericIndex = -1;
    int32_t textureDefinitionIndex = -1;
    int32_t nextTextureIndex = -1;
    int32_t uvCoordinatesIndex = -1;
};

struct LinePattern {
    ContentPRCBase base;
    std::vector<float> lengths;
    float phase = 0;
    bool inDrawingUnits = false;
};

struct LineStyle {
    ContentPRCBase base;
    float width = 0;
    bool isVPicture = false;
    int32_t patternIndex = -1;
    bool isMaterial = false;
    int32_t materialIndex = -1;  // a material, or a colour when isMaterial is false
    bool hasTransparency = false;
    uint8_t transparency = 255;
    uint8_t renderParams = 0;
};

struct FillPattern {
    explicit FillPattern(uint32_t t) { base.type = t; }
    virtual ~FillPattern() = default;
    ContentPRCBase base;
    int32_t nextPatternIndex = -1;
};

struct DottingPattern : FillPattern {
    DottingPattern() : FillPattern(723) {}
    float pitch = 0;
    bool zigzag = false;
    uint32_t colourIndex = 0;
};

struct HatchingLine {
    float start[2] = {0, 0};
    float direction[2] = {0, 0};
    float angle = 0;
    int32_t styleIndex = -1;
};

struct HatchingPattern : FillPattern {
    HatchingPattern() : FillPattern(724) {}
    std::vector<HatchingLine> lines;
};

struct SolidPattern : FillPattern {
    SolidPattern() : FillPattern(725) {}
    bool isMaterial = false;
    uint32_t index = 0;
};

struct VPicturePattern : FillPattern {
    VPicturePattern() : FillPattern(726) {}
    float offset[2] = {0, 0};
    std::shared_ptr<BaseTessData> markup;
};

}  // namespace Velmora::PRC::FileStructure
