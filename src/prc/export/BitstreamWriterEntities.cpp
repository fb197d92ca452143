// Common parts of entities, transformations, representation items and the tree's entities.
// Only what an exported scene holds is written: markup, views, filters and references are
// always empty.

#include "prc/export/BitstreamWriter.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kBitsPerByte = 8;
constexpr uint32_t kByteMask = 0xFF;
constexpr uint32_t kBoundingBoxValues = 6;
// Counts of the markup block: linked items, leaders, markups, annotations.
constexpr uint32_t kMarkupLists = 4;

// The stream stores an index one above its value, so that 0 stands for none (-1).
uint32_t PlusOne(int32_t index) { return static_cast<uint32_t>(index + 1); }

}  // namespace

void BitstreamWriter::WriteContentPRCBase(const ContentPRCBase& base, bool writeType) {
    if (writeType) WriteUnsignedInteger(base.type);
    WriteUnsignedInteger(0);  // attributes
    WriteName(base.name);
    if (HasIdentifiers(base.type)) {
        WriteUnsignedInteger(base.cadIdentifier);
        WriteUnsignedInteger(base.cadPersistentIdentifier);
        WriteUnsignedInteger(base.uniqueIdentifier);
    }
}

void BitstreamWriter::WriteGraphics(const Graphics& graphics) {
    // Always the explicit form: the values of the entity written before are never assumed.
    WriteBit(false);
    WriteUnsignedInteger(PlusOne(graphics.layerIndex));
    WriteUnsignedInteger(PlusOne(graphics.lineStyleIndex));
    WriteByte(static_cast<uint8_t>(graphics.behaviourBits & kByteMask));
    WriteByte(static_cast<uint8_t>(graphics.behaviourBits >> kBitsPerByte));
}

bool BitstreamWriter::WriteTransformations(const TransformationBase& transformation) {
    if (transformation.type == kTypeGeneralTransformation) {
        WriteUnsignedInteger(kTypeGeneralTransformation);
        for (const float value : static_cast<const GeneralTransformation&>(transformation).matrix)
            if (!WriteDouble(value)) return false;
        return true;
    }
    if (transformation.type == kTypeCartesianTransformation3D) {
        const auto& t = static_cast<const CartesianTransformation3D&>(transformation);
        WriteUnsignedInteger(kTypeCartesianTransformation3D);
        WriteByte(t.flags);
        bool ok = true;
        if (t.flags & kTransformTranslate) ok = ok && WriteVector3(t.origin);
        if (t.flags & kTransformNonOrtho)
            ok = ok && WriteVector3(t.xAxis) && WriteVector3(t.yAxis) && WriteVector3(t.zAxis);
        else if (t.flags & kTransformRotate)
            ok = ok && WriteVector3(t.xAxis) && WriteVector3(t.yAxis);
        if (t.flags & kTransformNonUniformScale)
            ok = ok && WriteVector3(t.scale);
        else if (t.flags & kTransformScale)
            ok = ok && WriteDouble(t.uniformScale);
        if (t.flags & kTransformHomogeneous) ok = ok && WriteVector3(t.homogeneous) && WriteDouble(t.homogeneousW);
        return ok;
    }
    Logger::Log(LogLevel::Error, "BitstreamWriter::WriteTransformations() - UNSUPPORTED TYPE");
    return false;
}

void BitstreamWriter::WriteEmptyMarkup() {
    for (uint32_t i = 0; i < kMarkupLists; ++i) WriteUnsignedInteger(0);
}

bool BitstreamWriter::WriteRepresentationItem(const RepresentationItem& item) {
    if (item.base.type != kTypePolyBrepModel) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteRepresentationItem() - UNSUPPORTED TYPE");
        return false;
    }
    WriteUnsignedInteger(item.base.type);
    WriteContentPRCBase(item.base, false);
    WriteGraphics(item.graphics);
    WriteUnsignedInteger(PlusOne(item.localCoordinateSystemIndex));
    WriteUnsignedInteger(PlusOne(item.tessellationIndex));
    WriteBit(static_cast<const RI_PolyBrepModel&>(item).isClosed);
    WriteUserData(item.userData);
    return true;
}

bool BitstreamWriter::WritePartDefinition(const PartDefinition& part) {
    WriteContentPRCBase(part.base, true);
    WriteGraphics(part.graphics);
    for (uint32_t i = 0; i < kBoundingBoxValues; ++i)
        if (!WriteDouble(part.boundingBox[i])) return false;
    WriteUnsignedInteger(static_cast<uint32_t>(part.representationItems.size()));
    for (const auto& item : part.representationItems)
        if (!item || !WriteRepresentationItem(*item)) return false;
    WriteEmptyMarkup();
    WriteUnsignedInteger(0);  // views
    WriteUserData(part.userData);
    return true;
}

bool BitstreamWriter::WriteProductOccurrence(const ProductOccurrence& occurrence) {
    WriteContentPRCBase(occurrence.base, true);
    WriteGraphics(occurrence.graphics);
    WriteUnsignedInteger(PlusOne(occurrence.partIndex));
    WriteUnsignedInteger(0);  // no prototype
    WriteUnsignedInteger(0);  // no external data
    WriteUnsignedInteger(static_cast<uint32_t>(occurrence.sons.size()));
    for (const uint32_t son : occurrence.sons) WriteUnsignedInteger(son);
    WriteByte(occurrence.behaviour);
    WriteBit(occurrence.unitFromCAD);
    if (!WriteDouble(occurrence.unit)) return false;
    WriteByte(occurrence.informationFlags);
    WriteInteger(occurrence.loadStatus);
    WriteBit(occurrence.location != nullptr);
    if (occurrence.location && !WriteTransformations(*occurrence.location)) return false;
    WriteUnsignedInteger(0);  // references
    WriteEmptyMarkup();
    WriteUnsignedInteger(0);  // views
    WriteBit(false);          // entity filter
    WriteUnsignedInteger(0);  // display filters
    WriteUnsignedInteger(0);  // scene display parameters
    WriteUserData(occurrence.userData);
    return true;
}

bool BitstreamWriter::WriteTreeSection(const TreeSection& tree) {
    WriteContentPRCBase(tree.base, true);
    WriteUnsignedInteger(static_cast<uint32_t>(tree.partDefinitions.size()));
    for (const auto& part : tree.partDefinitions)
        if (!part || !WritePartDefinition(*part)) return false;
    WriteUnsignedInteger(static_cast<uint32_t>(tree.productOccurrences.size()));
    for (const auto& occurrence : tree.productOccurrences)
        if (!occurrence || !WriteProductOccurrence(*occurrence)) return false;
    WriteContentPRCBase(tree.internalData, true);
    WriteUnsignedInteger(PlusOne(tree.nextFreeIndex));
    WriteUnsignedInteger(PlusOne(tree.rootOccurrenceIndex));
    WriteUserData(tree.userData);
    return true;
}

}  // namespace Velmora::PRC
