#pragma once
// The sections of a file structure and the model file section, as the section readers fill
// them.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "prc/reader/filestructure/ContentBase.h"
#include "prc/reader/filestructure/GraphicsDefinitions.h"
#include "prc/reader/filestructure/Markup.h"
#include "prc/reader/filestructure/RepresentationItems.h"
#include "prc/reader/filestructure/Tessellation.h"
#include "prc/reader/filestructure/Transformations.h"

namespace Velmora::PRC::Schema {
class Executable;
}

namespace Velmora::PRC::FileStructure {

using SchemaMap = std::map<uint32_t, std::shared_ptr<Schema::Executable>>;

struct FontKey {
    uint32_t key = 0;
    uint8_t value = 0;
};

struct Font {
    std::string name;
    uint32_t charSet = 0;
    std::vector<FontKey> keys;
};

struct GlobalsSection {
    SchemaMap schemas;
    ContentPRCBase base;
    std::vector<UniqueID> referencedFileStructures;
    double tessellationChordRatio = 0.0;
    double tessellationAngle = 0.0;
    std::string fontKeysName;
    std::vector<Font> fonts;
    std::vector<Colour> colours;
    std::vector<Picture> pictures;
    std::vector<std::shared_ptr<TextureDefinition>> textureDefinitions;
    std::vector<std::shared_ptr<Material>> materials;
    std::vector<LinePattern> linePatterns;
    std::vector<LineStyle> lineStyles;
    std::vector<std::shared_ptr<FillPattern>> fillPatterns;
    std::vector<std::shared_ptr<RepresentationItem>> referenceCoordinateSystems;
    UserData userData;
    uint64_t unreadBits = 0;  // bits the section reader left behind it
};

struct PartDefinition {
    ContentPRCBase base;
    Graphics graphics;
    double boundingBox[6] = {0, 0, 0, 0, 0, 0};
    std::vector<std::shared_ptr<RepresentationItem>> representationItems;
    MarkupDefinitions markup;
    std::vector<std::shared_ptr<View>> views;
    UserData userData;
};

struct ProductOccurrence {
    ContentPRCBase base;
    Graphics graphics;
    int32_t partIndex = -1;
    int32_t prototypeIndex = -1;
    bool prototypeInSameFileStructure = true;
    UniqueID prototypeFileStructure;
    int32_t externalDataIndex = -1;
    bool externalInSameFileStructure = true;
    UniqueID externalFileStructure;
    std::vector<uint32_t> sons;
    uint8_t behaviour = 0;
    bool unitFromCAD = false;
    double unit = 1.0;
    uint8_t informationFlags = 0;
    int32_t loadStatus = 0;
    std::shared_ptr<TransformationBase> location;
    std::vector<std::shared_ptr<EntityReference>> references;
    MarkupDefinitions markup;
    std::vector<std::shared_ptr<View>> views;
    std::shared_ptr<Filter> entityFilter;
    std::vector<std::shared_ptr<Filter>> displayFilters;
    std::vector<std::shared_ptr<SceneDisplayParameters>> sceneDisplayParameters;
    UserData userData;
};

struct TreeSection {
    ContentPRCBase base;
    std::vector<std::shared_ptr<PartDefinition>> partDefinitions;
    std::vector<std::shared_ptr<ProductOccurrence>> productOccurrences;
    ContentPRCBase internalData;
    int32_t nextFreeIndex = -1;
    int32_t rootOccurrenceIndex = -1;
    UserData userData;
    uint64_t unreadBits = 0;
};

struct TessellationSection {
    ContentPRCBase base;
    std::vector<std::shared_ptr<BaseTessData>> tessellations;
    UserData userData;
    uint64_t unreadBits = 0;
};

struct GeometrySection {
    ContentPRCBase base;
    uint32_t count = 0;
    UserData userData;
    uint64_t unreadBits = 0;
};

struct RootOccurrence {
    UniqueID fileStructure;
    int32_t occurrenceIndex = -1;
    bool flag = false;
};

struct ModelFileSection {
    SchemaMap schemas;
    ContentPRCBase base;
    bool unitFromCAD = false;
    double unit = 1.0;
    std::vector<RootOccurrence> rootOccurrences;
    std::vector<uint32_t> fileStructureIndices;
    UserData userData;
    uint64_t unreadBits = 0;
};

}  // namespace Velmora::PRC::FileStructure
