// The globals section with its graphic definitions, the geometry sections and the model file
// section.

#include "prc/reader/BitstreamReader.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kMinimumItemBits = 1;
constexpr uint32_t kUniqueIDBits = 4;
constexpr uint32_t kColourBits = 6;
constexpr uint32_t kSupportedTextureDimensions = 2;
constexpr int32_t kMappingWithOperator = 3;
constexpr int32_t kFunctionWithBlendValues = 3;
constexpr uint8_t kTextureAlphaTestBit = 0x04;
constexpr uint32_t kBlendValues = 4;
constexpr uint32_t kColourComponents = 3;
constexpr uint32_t kMaxTrailingBits = 8;

int32_t MinusOne(uint32_t value) { return static_cast<int32_t>(value) - 1; }

// A material's colour is stored as an index into the flat array of colour components.
uint32_t ColourIndex(uint32_t stored) { return (stored - 1) / kColourComponents; }

}  // namespace

std::shared_ptr<TextureDefinition> BitstreamReader::ReadTextureDefinition() {
    auto texture = std::make_shared<TextureDefinition>();
    texture->base.type = kTypeTextureDefinition;
    if (!ReadContentPRCBase(texture->base, true)) return nullptr;
    texture->pictureIndex = MinusOne(ReadUnsignedInteger());
    texture->dimensions = ReadByte();
    if (texture->dimensions != kSupportedTextureDimensions) {
        Logger::Log(LogLevel::Error,
                    "BitstreamReader::ReadTextureDefinition() - Unsupported number of texture dimensions!");
        return texture;
    }
    texture->mappingType = ReadInteger();
    if (texture->mappingType == kMappingWithOperator) {
        texture->mappingOperator = ReadInteger();
        if (ReadBit()) {
            if (ReadUnsignedInteger() != kTypeCartesianTransformation3D) return nullptr;
            texture->mappingTransformation = std::make_shared<CartesianTransformation3D>();
            ReadCartesianTransformation3DFields(*texture->mappingTransformation);
        }
    }
    texture->mappingAttributes = ReadUnsignedInteger();
    const uint32_t intensities = ReadUnsignedInteger();
    if (!CountFits(intensities, kMinimumItemBits, "texture intensity")) return nullptr;
    texture->intensities.resize(intensities);
    for (float& intensity : texture->intensities) intensity = static_cast<float>(ReadDouble());
    const uint32_t components = ReadUnsignedInteger();
    if (!CountFits(components, kMinimumItemBits, "texture component")) return nullptr;
    texture->components.resize(components);
    for (uint8_t& component : texture->components) component = ReadByte();
    texture->function = ReadInteger();
    if (texture->function == kFunctionWithBlendValues)
        for (uint32_t i = 0; i < kBlendValues; ++i) texture->blendSource[i] = static_cast<float>(ReadDouble());
    texture->wrapS = ReadInteger();
    if (texture->wrapS != 0) texture->wrapSValue = ReadInteger();
    texture->wrapT = ReadInteger();
    if (texture->wrapT != 0) texture->wrapTValue = ReadInteger();
    texture->flags = ReadByte();
    if (texture->flags & kTextureAlphaTestBit) {
        texture->alphaTest = ReadInteger();
        texture->alphaTestReference = static_cast<float>(ReadDouble());
    }
    texture->mappingU = ReadInteger();
    if (texture->dimensions > 1) texture->mappingV = ReadInteger();
    if (texture->dimensions > 2) texture->mappingW = ReadInteger();
    if (ReadBit() && ReadUnsignedInteger() == kTypeTextureTransformation) {
        (void)ReadBit();
        (void)ReadBit();
        if (ReadBit()) {
            auto t = std::make_shared<CartesianTransformation3D>();
            ReadCartesianTransformation3DFields(*t);
            texture->textureTransformation = t;
        } else {
            auto t = std::make_shared<CartesianTransformation2D>();
            ReadCartesianTransformation2DFields(*t);
            texture->textureTransformation = t;
        }
    }
    return texture;
}

std::shared_ptr<Material> BitstreamReader::ReadMaterialDefinition() {
    const uint32_t type = ReadUnsignedInteger();
    if (type == kTypeMaterialGeneric) {
        auto material = std::make_shared<MaterialGeneric>();
        if (!ReadContentPRCBase(material->base, false)) return nullptr;
        material->ambient = ColourIndex(ReadUnsignedInteger());
        material->diffuse = ColourIndex(ReadUnsignedInteger());
        material->emissive = ColourIndex(ReadUnsignedInteger());
        material->specular = ColourIndex(ReadUnsignedInteger());
        material->shininess = static_cast<float>(ReadDouble());
        material->ambientAlpha = static_cast<float>(ReadDouble());
        material->diffuseAlpha = static_cast<float>(ReadDouble());
        material->emissiveAlpha = static_cast<float>(ReadDouble());
        material->specularAlpha = static_cast<float>(ReadDouble());
        return material;
    }
    if (type == kTypeMaterialTextureApplication) {
        auto material = std::make_shared<MaterialTextureApplication>();
        if (!ReadContentPRCBase(material->base, false)) return nullptr;
        material->materialGenericIndex = MinusOne(ReadUnsignedInteger());
        material->textureDefinitionIndex = MinusOne(ReadUnsignedInteger());
        material->nextTextureIndex = MinusOne(ReadUnsignedInteger());
        material->uvCoordinatesIndex = MinusOne(ReadUnsignedInteger());
        return material;
    }
    return nullptr;
}

bool BitstreamReader::ReadLineStyleDefinition(LineStyle& style) {
    style.base.type = kTypeLineStyle;
    if (!ReadContentPRCBase(style.base, true)) return false;
    style.width = static_cast<float>(ReadDouble());
    style.isVPicture = ReadBit() != 0;
    style.patternIndex = MinusOne(ReadUnsignedInteger());
    style.isMaterial = ReadBit() != 0;
    style.materialIndex = MinusOne(ReadUnsignedInteger());
    style.hasTransparency = ReadBit() != 0;
    if (style.hasTransparency) style.transparency = ReadByte();
    if (ReadBit()) {
        style.renderParams = ReadByte();
        if (style.renderParams != 0)
            Logger::Log(LogLevel::Warning,
                        "BitstreamReader::ReadLineStyleDefinition() - renderParams defined but ignored for now!");
    }
    const bool firstExtra = ReadBit() != 0;
    if (firstExtra) (void)ReadByte();
    const bool secondExtra = ReadBit() != 0;
    if (secondExtra) (void)ReadByte();
    if (firstExtra || secondExtra)
        Logger::Log(
            LogLevel::Error,
            "BitstreamReader::ReadLineStyleDefinition() - unexpected value! (not a value the PRC format defines)");
    return true;
}

std::shared_ptr<FillPattern> BitstreamReader::ReadFillPatternDefition() {
    const uint32_t type = ReadUnsignedInteger();
    std::shared_ptr<FillPattern> pattern;
    switch (type) {
        case kTypeDottingPattern: pattern = std::make_shared<DottingPattern>(); break;
        case kTypeHatchingPattern: pattern = std::make_shared<HatchingPattern>(); break;
        case kTypeSolidPattern: pattern = std::make_shared<SolidPattern>(); break;
        case kTypeVPicturePattern: pattern = std::make_shared<VPicturePattern>(); break;
        default: return nullptr;
    }
    if (!ReadContentPRCBase(pattern->base, false)) return nullptr;
    pattern->nextPatternIndex = MinusOne(ReadUnsignedInteger());
    switch (type) {
        case kTypeDottingPattern: {
            auto& dotting = static_cast<DottingPattern&>(*pattern);
            dotting.pitch = static_cast<float>(ReadDouble());
            dotting.zigzag = ReadBit() != 0;
            dotting.colourIndex = ReadUnsignedInteger();
            break;
        }
        case kTypeHatchingPattern: {
            auto& hatching = static_cast<HatchingPattern&>(*pattern);
            const uint32_t count = ReadUnsignedInteger();
            if (!CountFits(count, kMinimumItemBits, "hatching line")) return nullptr;
            hatching.lines.resize(count);
            for (HatchingLine& line : hatching.lines) {
                for (float& c : line.start) c = static_cast<float>(ReadDouble());
                for (float& c : line.direction) c = static_cast<float>(ReadDouble());
                line.angle = static_cast<float>(ReadDouble());
                line.styleIndex = MinusOne(ReadUnsignedInteger());
            }
            break;
        }
        case kTypeSolidPattern: {
            auto& solid = static_cast<SolidPattern&>(*pattern);
            solid.isMaterial = ReadBit() != 0;
            solid.index = ReadUnsignedInteger();
            break;
        }
        case kTypeVPicturePattern: {
            auto& picture = static_cast<VPicturePattern&>(*pattern);
            for (float& c : picture.offset) c = static_cast<float>(ReadDouble());
            picture.markup = ReadTessellation();
            if (!picture.markup) {
                Logger::Log(LogLevel::Error, "BitstreamReader::ReadFillPatternVPictureDefinition() - invalid markup!");
                return nullptr;
            }
            break;
        }
        default: break;
    }
    return pattern;
}

bool BitstreamReader::ReadFileStructureGlobalsDecompressed(GlobalsSection& globals) {
    SetCurrentGlobals(&globals);
    if (!ReadSchema(globals.schemas)) return false;
    globals.base.type = kTypeGlobals;
    if (!ReadContentPRCBase(globals.base, true)) return false;

    const uint32_t references = ReadUnsignedInteger();
    if (!CountFits(references, kUniqueIDBits, "referenced file structure")) return false;
    globals.referencedFileStructures.resize(references);
    for (UniqueID& id : globals.referencedFileStructures)
        for (uint32_t& word : id.words) word = ReadUnsignedInteger();

    globals.tessellationChordRatio = ReadDouble();
    globals.tessellationAngle = ReadDouble();

    globals.fontKeysName = ReadString();
    const uint32_t fonts = ReadUnsignedInteger();
    if (!CountFits(fonts, kMinimumItemBits, "font")) return false;
    globals.fonts.resize(fonts);
    for (Font& font : globals.fonts) {
        font.name = ReadString();
        font.charSet = ReadUnsignedInteger();
        const uint32_t keys = ReadUnsignedInteger();
        if (!CountFits(keys, kMinimumItemBits, "font key")) return false;
        font.keys.resize(keys);
        for (FontKey& key : font.keys) {
            key.key = ReadUnsignedInteger();
            key.value = ReadByte();
        }
    }

    const uint32_t colours = ReadUnsignedInteger();
    if (!CountFits(colours, kColourBits, "colour")) return false;
    globals.colours.resize(colours);
    for (Colour& colour : globals.colours) {
        colour.red = static_cast<float>(ReadDouble());
        colour.green = static_cast<float>(ReadDouble());
        colour.blue = static_cast<float>(ReadDouble());
    }

    const uint32_t pictures = ReadUnsignedInteger();
    if (!CountFits(pictures, kMinimumItemBits, "picture")) return false;
    globals.pictures.resize(pictures);
    for (Picture& picture : globals.pictures) {
        picture.base.type = kTypePicture;
        if (!ReadContentPRCBase(picture.base, true)) return false;
        picture.format = ReadInteger();
        picture.uncompressedFileIndex = MinusOne(ReadUnsignedInteger());
        picture.width = ReadUnsignedInteger();
        picture.height = ReadUnsignedInteger();
    }

    const uint32_t textures = ReadUnsignedInteger();
    if (!CountFits(textures, kMinimumItemBits, "texture definition")) return false;
    for (uint32_t i = 0; i < textures; ++i) {
        auto texture = ReadTextureDefinition();
        if (!texture) return false;
        globals.textureDefinitions.push_back(std::move(texture));
    }

    const uint32_t materials = ReadUnsignedInteger();
    if (!CountFits(materials, kMinimumItemBits, "material")) return false;
    for (uint32_t i = 0; i < materials; ++i) {
        auto material = ReadMaterialDefinition();
        if (!material) return false;
        globals.materials.push_back(std::move(material));
    }

    const uint32_t patterns = ReadUnsignedInteger();
    if (!CountFits(patterns, kMinimumItemBits, "line pattern")) return false;
    globals.linePatterns.resize(patterns);
    for (LinePattern& pattern : globals.linePatterns) {
        pattern.base.type = kTypeLinePattern;
        if (!ReadContentPRCBase(pattern.base, true)) return false;
        const uint32_t lengths = ReadUnsignedInteger();
        if (!CountFits(lengths, kMinimumItemBits, "line pattern length")) return false;
        pattern.lengths.resize(lengths);
        for (float& length : pattern.lengths) length = static_cast<float>(ReadDouble());
        pattern.phase = static_cast<float>(ReadDouble());
        pattern.inDrawingUnits = ReadBit() != 0;
    }

    const uint32_t styles = ReadUnsignedInteger();
    if (!CountFits(styles, kMinimumItemBits, "line style")) return false;
    globals.lineStyles.resize(styles);
    for (LineStyle& style : globals.lineStyles)
        if (!ReadLineStyleDefinition(style)) return false;

    const uint32_t fills = ReadUnsignedInteger();
    if (!CountFits(fills, kMinimumItemBits, "fill pattern")) return false;
    for (uint32_t i = 0; i < fills; ++i) {
        auto fill = ReadFillPatternDefition();
        if (!fill) return false;
        globals.fillPatterns.push_back(std::move(fill));
    }

    const uint32_t systems = ReadUnsignedInteger();
    if (!CountFits(systems, kMinimumItemBits, "coordinate system")) return false;
    for (uint32_t i = 0; i < systems; ++i) {
        auto system = ReadRepresentationItemDefinition();
        if (!system) return false;
        globals.referenceCoordinateSystems.push_back(std::move(system));
    }

    if (!ReadSchemaTail(kTypeGlobals) || !ReadUserData(globals.userData)) return false;
    globals.unreadBits = RemainingBits();
    return true;
}

bool BitstreamReader::ReadFileStructureGeometryDecompressed(GeometrySection& section) {
    section.base.type = kTypeGeometry;
    if (!ReadContentPRCBase(section.base, true)) return false;
    section.count = ReadUnsignedInteger();
    if (section.count > 0) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadFileStructureGeometryDecompressed() - NOT YET IMPLEMENTED!");
        return true;
    }
    if (!ReadUserData(section.userData)) return false;
    section.unreadBits = RemainingBits();
    return true;
}

bool BitstreamReader::ReadFileStructureExtraGeometryDecompressed(GeometrySection& section) {
    section.base.type = kTypeExtraGeometry;
    if (!ReadContentPRCBase(section.base, true)) return false;
    section.count = ReadUnsignedInteger();
    if (section.count > 0) {
        Logger::Log(LogLevel::Error,
                    "BitstreamReader::ReadFileStructureExtraGeometryDecompressed() - NOT YET IMPLEMENTED!");
        return true;
    }
    if (!ReadUserData(section.userData)) return false;
    section.unreadBits = RemainingBits();
    return true;
}

bool BitstreamReader::ReadModelFileSectionDecompressed(ModelFileSection& modelFile, uint32_t numberOfFileStructures) {
    if (!ReadSchema(modelFile.schemas)) return false;
    modelFile.base.type = kTypeModelFile;
    if (!ReadContentPRCBase(modelFile.base, true)) return false;
    modelFile.unitFromCAD = ReadBit() != 0;
    modelFile.unit = ReadDouble();

    const uint32_t roots = ReadUnsignedInteger();
    if (!CountFits(roots, kUniqueIDBits, "root occurrence")) return false;
    modelFile.rootOccurrences.resize(roots);
    for (RootOccurrence& root : modelFile.rootOccurrences) {
        for (uint32_t& word : root.fileStructure.words) word = ReadUnsignedInteger();
        root.occurrenceIndex = MinusOne(ReadUnsignedInteger());
        root.flag = ReadBit() != 0;
    }
    if (!CountFits(numberOfFileStructures, kMinimumItemBits, "file structure index")) return false;
    modelFile.fileStructureIndices.resize(numberOfFileStructures);
    for (uint32_t& index : modelFile.fileStructureIndices) index = ReadUnsignedInteger();
    if (!ReadUserData(modelFile.userData)) return false;

    const uint64_t left = RemainingBits();
    modelFile.unreadBits = left;
    if (left <= kMaxTrailingBits)
        Logger::Log(LogLevel::Info, "ReadModelFileSectionDecompressed finished with %u unconsumed bits",
                    static_cast<uint32_t>(left));
    else
        Logger::LogF(LogLevel::Error, "ReadModelFileSectionDecompressed finished with {:d} unconsumed bits", left);
    return true;
}

}  // namespace Velmora::PRC
