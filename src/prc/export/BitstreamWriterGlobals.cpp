// The globals section with its graphic definitions, the geometry sections and the model file
// section.

#include "prc/export/BitstreamWriter.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint8_t kSupportedTextureDimensions = 2;
constexpr int32_t kMappingWithOperator = 3;
constexpr int32_t kFunctionWithBlendValues = 3;
constexpr uint8_t kTextureAlphaTestBit = 0x04;
constexpr uint32_t kColourComponents = 3;

uint32_t PlusOne(int32_t index) { return static_cast<uint32_t>(index + 1); }

// A material's colour is stored as one above the offset of its red component in the flat
// array of colour components.
uint32_t StoredColour(uint32_t index) { return index * kColourComponents + 1; }

}  // namespace

bool BitstreamWriter::WriteTexture(const TextureDefinition& texture) {
    if (texture.dimensions != kSupportedTextureDimensions) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteTexture() - unsupported number of texture dimensions!");
        return false;
    }
    WriteContentPRCBase(texture.base, true);
    WriteUnsignedInteger(PlusOne(texture.pictureIndex));
    WriteByte(texture.dimensions);
    WriteInteger(texture.mappingType);
    if (texture.mappingType == kMappingWithOperator) {
        WriteInteger(texture.mappingOperator);
        WriteBit(texture.mappingTransformation != nullptr);
        if (texture.mappingTransformation && !WriteTransformations(*texture.mappingTransformation)) return false;
    }
    WriteUnsignedInteger(texture.mappingAttributes);
    WriteUnsignedInteger(static_cast<uint32_t>(texture.intensities.size()));
    for (const float intensity : texture.intensities)
        if (!WriteDouble(intensity)) return false;
    WriteUnsignedInteger(static_cast<uint32_t>(texture.components.size()));
    for (const uint8_t component : texture.components) WriteByte(component);
    WriteInteger(texture.function);
    if (texture.function == kFunctionWithBlendValues)
        for (const float value : texture.blendSource)
            if (!WriteDouble(value)) return false;
    WriteInteger(texture.wrapS);
    if (texture.wrapS != 0) WriteInteger(texture.wrapSValue);
    WriteInteger(texture.wrapT);
    if (texture.wrapT != 0) WriteInteger(texture.wrapTValue);
    WriteByte(texture.flags);
    if (texture.flags & kTextureAlphaTestBit) {
        WriteInteger(texture.alphaTest);
        if (!WriteDouble(texture.alphaTestReference)) return false;
    }
    WriteInteger(texture.mappingU);
    WriteInteger(texture.mappingV);
    WriteBit(false);  // no texture transformation
    return true;
}

bool BitstreamWriter::WriteMaterial(const Material& material) {
    WriteUnsignedInteger(material.base.type);
    if (material.base.type == kTypeMaterialGeneric) {
        const auto& generic = static_cast<const MaterialGeneric&>(material);
        WriteContentPRCBase(generic.base, false);
        WriteUnsignedInteger(StoredColour(generic.ambient));
        WriteUnsignedInteger(StoredColour(generic.diffuse));
        WriteUnsignedInteger(StoredColour(generic.emissive));
        WriteUnsignedInteger(StoredColour(generic.specular));
        return WriteDouble(generic.shininess) && WriteDouble(generic.ambientAlpha) &&
               WriteDouble(generic.diffuseAlpha) && WriteDouble(generic.emissiveAlpha) &&
               WriteDouble(generic.specularAlpha);
    }
    if (material.base.type == kTypeMaterialTextureApplication) {
        const auto& application = static_cast<const MaterialTextureApplication&>(material);
        WriteContentPRCBase(application.base, false);
        WriteUnsignedInteger(PlusOne(application.materialGenericIndex));
        WriteUnsignedInteger(PlusOne(application.textureDefinitionIndex));
        WriteUnsignedInteger(PlusOne(application.nextTextureIndex));
        WriteUnsignedInteger(PlusOne(application.uvCoordinatesIndex));
        return true;
    }
    Logger::Log(LogLevel::Error, "BitstreamWriter::WriteMaterial() - UNSUPPORTED TYPE");
    return false;
}

bool BitstreamWriter::WriteLineStyle(const LineStyle& style) {
    WriteContentPRCBase(style.base, true);
    if (!WriteDouble(style.width)) return false;
    WriteBit(style.isVPicture);
    WriteUnsignedInteger(PlusOne(style.patternIndex));
    WriteBit(style.isMaterial);
    WriteUnsignedInteger(PlusOne(style.materialIndex));
    WriteBit(style.hasTransparency);
    if (style.hasTransparency) WriteByte(style.transparency);
    WriteBit(style.renderParams != 0);
    if (style.renderParams != 0) WriteByte(style.renderParams);
    WriteBit(false);
    WriteBit(false);
    return true;
}

bool BitstreamWriter::WriteLinePattern(const LinePattern& pattern) {
    WriteContentPRCBase(pattern.base, true);
    WriteUnsignedInteger(static_cast<uint32_t>(pattern.lengths.size()));
    for (const float length : pattern.lengths)
        if (!WriteDouble(length)) return false;
    if (!WriteDouble(pattern.phase)) return false;
    WriteBit(pattern.inDrawingUnits);
    return true;
}

bool BitstreamWriter::WritePicture(const Picture& picture) {
    WriteContentPRCBase(picture.base, true);
    WriteInteger(picture.format);
    WriteUnsignedInteger(PlusOne(picture.uncompressedFileIndex));
    WriteUnsignedInteger(picture.width);
    WriteUnsignedInteger(picture.height);
    return true;
}

bool BitstreamWriter::WriteGlobalsSection(const GlobalsSection& globals) {
    WriteUnsignedInteger(0);  // schemas
    WriteContentPRCBase(globals.base, true);
    WriteUnsignedInteger(0);  // referenced file structures
    if (!WriteDouble(globals.tessellationChordRatio) || !WriteDouble(globals.tessellationAngle)) return false;
    WriteString(globals.fontKeysName);
    WriteUnsignedInteger(0);  // fonts
    WriteUnsignedInteger(static_cast<uint32_t>(globals.colours.size()));
    for (const Colour& colour : globals.colours)
        if (!WriteDouble(colour.red) || !WriteDouble(colour.green) || !WriteDouble(colour.blue)) return false;
    WriteUnsignedInteger(static_cast<uint32_t>(globals.pictures.size()));
    for (const Picture& picture : globals.pictures)
        if (!WritePicture(picture)) return false;
    WriteUnsignedInteger(static_cast<uint32_t>(globals.textureDefinitions.size()));
    for (const auto& texture : globals.textureDefinitions)
        if (!texture || !WriteTexture(*texture)) return false;
    WriteUnsignedInteger(static_cast<uint32_t>(globals.materials.size()));
    for (const auto& material : globals.materials)
        if (!material || !WriteMaterial(*material)) return false;
    WriteUnsignedInteger(static_cast<uint32_t>(globals.linePatterns.size()));
    for (const LinePattern& pattern : globals.linePatterns)
        if (!WriteLinePattern(pattern)) return false;
    WriteUnsignedInteger(static_cast<uint32_t>(globals.lineStyles.size()));
    for (const LineStyle& style : globals.lineStyles)
        if (!WriteLineStyle(style)) return false;
    WriteUnsignedInteger(0);  // fill patterns
    WriteUnsignedInteger(0);  // reference coordinate systems
    WriteUserData(globals.userData);
    return true;
}

bool BitstreamWriter::WriteGeometrySection(const GeometrySection& section, uint32_t type) {
    ContentPRCBase base = section.base;
    base.type = type;
    WriteContentPRCBase(base, true);
    WriteUnsignedInteger(0);
    WriteUserData(section.userData);
    return true;
}

bool BitstreamWriter::WriteModelFileSection(const ModelFileSection& modelFile) {
    WriteUnsignedInteger(0);  // schemas
    WriteContentPRCBase(modelFile.base, true);
    WriteBit(modelFile.unitFromCAD);
    if (!WriteDouble(modelFile.unit)) return false;
    WriteUnsignedInteger(static_cast<uint32_t>(modelFile.rootOccurrences.size()));
    for (const RootOccurrence& root : modelFile.rootOccurrences) {
        for (const uint32_t word : root.fileStructure.words) WriteUnsignedInteger(word);
        WriteUnsignedInteger(PlusOne(root.occurrenceIndex));
        WriteBit(root.flag);
    }
    for (const uint32_t index : modelFile.fileStructureIndices) WriteUnsignedInteger(index);
    WriteUserData(modelFile.userData);
    return true;
}

}  // namespace Velmora::PRC
