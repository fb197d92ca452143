// The tree section: part definitions, product occurrences and filters.

#include "prc/reader/BitstreamReader.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kMinimumItemBits = 1;
constexpr uint32_t kBoundingBoxValues = 6;

int32_t MinusOne(uint32_t value) { return static_cast<int32_t>(value) - 1; }

}  // namespace

std::shared_ptr<Filter> BitstreamReader::ReadFilter() {
    auto filter = std::make_shared<Filter>();
    filter->base.type = kTypeFilter;
    if (!ReadContentPRCBase(filter->base, true)) return nullptr;
    filter->isActive = ReadBit() != 0;
    filter->layersInclusive = ReadBit() != 0;
    const uint32_t layers = ReadUnsignedInteger();
    if (!CountFits(layers, kMinimumItemBits, "filter layer")) return nullptr;
    filter->layerIndices.resize(layers);
    for (uint32_t& layer : filter->layerIndices) layer = ReadUnsignedInteger();
    filter->entitiesInclusive = ReadBit() != 0;
    const uint32_t entities = ReadUnsignedInteger();
    if (!CountFits(entities, kMinimumItemBits, "filter entity")) return nullptr;
    for (uint32_t i = 0; i < entities; ++i) {
        auto entity = ReadEntityReference(false);
        if (!entity) return nullptr;
        filter->entities.push_back(std::move(entity));
    }
    if (!ReadUserData(filter->userData)) return nullptr;
    return filter;
}

std::shared_ptr<PartDefinition> BitstreamReader::ReadPartDefinition() {
    auto part = std::make_shared<PartDefinition>();
    part->base.type = kTypePartDefinition;
    if (!ReadContentPRCBase(part->base, true) || !ReadGraphics(part->graphics)) return nullptr;
    for (uint32_t i = 0; i < kBoundingBoxValues; ++i) part->boundingBox[i] = ReadDouble();
    const uint32_t items = ReadUnsignedInteger();
    if (!CountFits(items, kMinimumItemBits, "representation item")) return nullptr;
    for (uint32_t i = 0; i < items; ++i) {
        auto item = ReadRepresentationItemDefinition();
        if (!item) return nullptr;
        part->representationItems.push_back(std::move(item));
    }
    if (!ReadMarkupDefinitions(part->markup)) return nullptr;
    const uint32_t views = ReadUnsignedInteger();
    if (!CountFits(views, kMinimumItemBits, "view")) return nullptr;
    for (uint32_t i = 0; i < views; ++i) {
        auto view = ReadView();
        if (!view) return nullptr;
        part->views.push_back(std::move(view));
    }
    if (!ReadUserData(part->userData)) return nullptr;
    return part;
}

std::shared_ptr<ProductOccurrence> BitstreamReader::ReadProductOccurrence() {
    auto occurrence = std::make_shared<ProductOccurrence>();
    occurrence->base.type = kTypeProductOccurrence;
    if (!ReadContentPRCBase(occurrence->base, true) || !ReadGraphics(occurrence->graphics)) return nullptr;

    occurrence->partIndex = MinusOne(ReadUnsignedInteger());
    occurrence->prototypeIndex = MinusOne(ReadUnsignedInteger());
    if (occurrence->prototypeIndex != -1) {
        occurrence->prototypeInSameFileStructure = ReadBit() != 0;
        if (!occurrence->prototypeInSameFileStructure)
            for (uint32_t& word : occurrence->prototypeFileStructure.words) word = ReadUnsignedInteger();
    }
    occurrence->externalDataIndex = MinusOne(ReadUnsignedInteger());
    if (occurrence->externalDataIndex != -1) {
        occurrence->externalInSameFileStructure = ReadBit() != 0;
        if (!occurrence->externalInSameFileStructure)
            for (uint32_t& word : occurrence->externalFileStructure.words) word = ReadUnsignedInteger();
    }
    const uint32_t sons = ReadUnsignedInteger();
    if (!CountFits(sons, kMinimumItemBits, "son")) return nullptr;
    occurrence->sons.resize(sons);
    for (uint32_t& son : occurrence->sons) son = ReadUnsignedInteger();

    occurrence->behaviour = ReadByte();
    occurrence->unitFromCAD = ReadBit() != 0;
    occurrence->unit = ReadDouble();
    occurrence->informationFlags = ReadByte();
    occurrence->loadStatus = ReadInteger();

    if (ReadBit()) {
        occurrence->location = ReadTransformation();
        if (!occurrence->location) return nullptr;
    }

    const uint32_t references = ReadUnsignedInteger();
    if (!CountFits(references, kMinimumItemBits, "entity reference")) return nullptr;
    for (uint32_t i = 0; i < references; ++i) {
        auto reference = ReadEntityReference(false);
        if (!reference) return nullptr;
        occurrence->references.push_back(std::move(reference));
    }
    if (!ReadMarkupDefinitions(occurrence->markup)) return nullptr;

    const uint32_t views = ReadUnsignedInteger();
    if (!CountFits(views, kMinimumItemBits, "view")) return nullptr;
    for (uint32_t i = 0; i < views; ++i) {
        auto view = ReadView();
        if (!view) return nullptr;
        occurrence->views.push_back(std::move(view));
    }

    if (ReadBit()) {
        occurrence->entityFilter = ReadFilter();
        if (!occurrence->entityFilter) return nullptr;
    }
    const uint32_t filters = ReadUnsignedInteger();
    if (!CountFits(filters, kMinimumItemBits, "display filter")) return nullptr;
    for (uint32_t i = 0; i < filters; ++i) {
        auto filter = ReadFilter();
        if (!filter) return nullptr;
        occurrence->displayFilters.push_back(std::move(filter));
    }

    const uint32_t scenes = ReadUnsignedInteger();
    if (!CountFits(scenes, kMinimumItemBits, "scene display parameters")) return nullptr;
    for (uint32_t i = 0; i < scenes; ++i) {
        auto scene = ReadSceneDisplayParameters();
        if (!scene) return nullptr;
        occurrence->sceneDisplayParameters.push_back(std::move(scene));
    }
    if (!ReadUserData(occurrence->userData)) return nullptr;
    return occurrence;
}

bool BitstreamReader::ReadFileStructureTreeDecompressed(TreeSection& tree) {
    tree.base.type = kTypeTree;
    if (!ReadContentPRCBase(tree.base, true)) return false;

    const uint32_t parts = ReadUnsignedInteger();
    if (!CountFits(parts, kMinimumItemBits, "part definition")) return false;
    for (uint32_t i = 0; i < parts; ++i) {
        auto part = ReadPartDefinition();
        if (!part) return false;
        tree.partDefinitions.push_back(std::move(part));
        ReportProgress();
    }

    const uint32_t occurrences = ReadUnsignedInteger();
    if (!CountFits(occurrences, kMinimumItemBits, "product occurrence")) return false;
    for (uint32_t i = 0; i < occurrences; ++i) {
        auto occurrence = ReadProductOccurrence();
        if (!occurrence) return false;
        tree.productOccurrences.push_back(std::move(occurrence));
        ReportProgress();
    }

    tree.internalData.type = kTypeTreeInternalData;
    if (!ReadContentPRCBase(tree.internalData, true)) return false;
    tree.nextFreeIndex = MinusOne(ReadUnsignedInteger());
    tree.rootOccurrenceIndex = MinusOne(ReadUnsignedInteger());
    if (!ReadUserData(tree.userData)) return false;
    tree.unreadBits = RemainingBits();
    ReportProgress();
    return true;
}

}  // namespace Velmora::PRC
