// Common parts of entities, transformations, representation items and references.

#include <new>

#include "prc/reader/BitstreamReader.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kMinimumAttributeBits = 2;
constexpr uint32_t kMinimumItemBits = 1;
constexpr uint32_t kVectorBits = 6;  // three doubles of at least two bits
constexpr uint32_t kMatrixSize = 16;
constexpr uint32_t kBitsPerByte = 8;

int32_t MinusOne(uint32_t value) { return static_cast<int32_t>(value) - 1; }

std::shared_ptr<RepresentationItem> MakeRepresentationItem(uint32_t type) {
    switch (type) {
        case kTypeBrepModel: return std::make_shared<RI_BrepModel>();
        case kTypeCurve: return std::make_shared<RI_Curve>();
        case kTypeDirection: return std::make_shared<RI_Direction>();
        case kTypePlane: return std::make_shared<RI_Plane>();
        case kTypePointSet: return std::make_shared<RI_PointSet>();
        case kTypePolyBrepModel: return std::make_shared<RI_PolyBrepModel>();
        case kTypePolyWire: return std::make_shared<RI_PolyWire>();
        case kTypeSet: return std::make_shared<RI_Set>();
        case kTypeCoordinateSystem: return std::make_shared<RI_CoordinateSystem>();
        default: return nullptr;
    }
}

}  // namespace

bool BitstreamReader::ReadAttributeTitle(AttributeTitle& title) {
    if (ReadBit()) {
        title.kind = TitleKind::Number;
        title.number = ReadUnsignedInteger();
    } else {
        title.kind = TitleKind::String;
        title.text = ReadString();
    }
    return true;
}

bool BitstreamReader::ReadAttributes(std::vector<Attribute>& attributes) {
    const uint32_t count = ReadUnsignedInteger();
    if (!CountFits(count, kMinimumAttributeBits, "attribute")) return false;
    attributes.resize(count);
    for (Attribute& attribute : attributes) {
        if (ReadUnsignedInteger() != kTypeAttribute) {
            Logger::Log(LogLevel::Error, "BitstreamReader - unexpected type of an attribute");
            return false;
        }
        ReadAttributeTitle(attribute.title);
        const uint32_t entries = ReadUnsignedInteger();
        if (!CountFits(entries, kMinimumAttributeBits, "attribute entry")) return false;
        attribute.entries.resize(entries);
        for (AttributeEntry& entry : attribute.entries) {
            ReadAttributeTitle(entry.title);
            const uint32_t keyType = ReadUnsignedInteger();
            switch (static_cast<AttributeKeyType>(keyType)) {
                case AttributeKeyType::Integer: entry.integer = ReadInteger(); break;
                case AttributeKeyType::Double: entry.real = ReadDouble(); break;
                case AttributeKeyType::Unsigned: entry.unsignedValue = ReadUnsignedInteger(); break;
                case AttributeKeyType::String: entry.text = ReadString(); break;
                default:
                    Logger::Log(LogLevel::Error, "BitstreamReader::ReadGlobals() - invalid attribute key type!");
                    return false;
            }
            entry.keyType = static_cast<AttributeKeyType>(keyType);
        }
    }
    return true;
}

bool BitstreamReader::ReadContentPRCBase(ContentPRCBase& base, bool readType) {
    if (readType && ReadUnsignedInteger() != base.type) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadContentPRCBase() - unexpected typeId");
        return false;
    }
    if (!ReadAttributes(base.attributes)) return false;
    base.name = ReadName();
    if (HasIdentifiers(base.type)) {
        base.cadIdentifier = ReadUnsignedInteger();
        base.cadPersistentIdentifier = ReadUnsignedInteger();
        base.uniqueIdentifier = ReadUnsignedInteger();
    }
    return true;
}

bool BitstreamReader::ReadGraphics(Graphics& graphics) {
    if (!ReadBit()) {
        currentLayerIndex_ = MinusOne(ReadUnsignedInteger());
        currentLineStyleIndex_ = MinusOne(ReadUnsignedInteger());
        const uint16_t low = ReadByte();
        const uint16_t high = ReadByte();
        currentBehaviourBits_ = static_cast<uint16_t>(low | (high << kBitsPerByte));
    }
    graphics.layerIndex = currentLayerIndex_;
    graphics.lineStyleIndex = currentLineStyleIndex_;
    graphics.behaviourBits = currentBehaviourBits_;
    return ReadSchemaTail(kTypeGraphics);
}

bool BitstreamReader::ReadCartesianTransformation3DFields(CartesianTransformation3D& t) {
    t.flags = ReadByte();
    if (t.flags & kTransformTranslate) t.origin = ReadVector3();
    if (t.flags & kTransformNonOrtho) {
        t.xAxis = ReadVector3();
        t.yAxis = ReadVector3();
        t.zAxis = ReadVector3();
    } else if (t.flags & kTransformRotate) {
        t.xAxis = ReadVector3();
        t.yAxis = ReadVector3();
    }
    if (t.flags & kTransformNonUniformScale)
        t.scale = ReadVector3();
    else if (t.flags & kTransformScale)
        t.uniformScale = static_cast<float>(ReadDouble());
    if (t.flags & kTransformHomogeneous) {
        t.homogeneous = ReadVector3();
        t.homogeneousW = static_cast<float>(ReadDouble());
    }
    return true;
}

bool BitstreamReader::ReadCartesianTransformation2DFields(CartesianTransformation2D& t) {
    auto read2 = [this](Vec2f& v) {
        v[0] = static_cast<float>(ReadDouble());
        v[1] = static_cast<float>(ReadDouble());
    };
    t.flags = ReadByte();
    if (t.flags & kTransformTranslate) read2(t.origin);
    if (t.flags & kTransformNonOrtho) {
        Vec2f unusedThird{};
        read2(t.xAxis);
        read2(t.yAxis);
        read2(unusedThird);
    } else if (t.flags & kTransformRotate) {
        read2(t.xAxis);
        read2(t.yAxis);
    }
    if (t.flags & kTransformNonUniformScale)
        read2(t.scale);
    else if (t.flags & kTransformScale)
        t.uniformScale = static_cast<float>(ReadDouble());
    if (t.flags & kTransformHomogeneous) {
        read2(t.homogeneous);
        t.homogeneousW = static_cast<float>(ReadDouble());
    }
    return true;
}

std::shared_ptr<TransformationBase> BitstreamReader::ReadTransformation() {
    const uint32_t type = ReadUnsignedInteger();
    std::shared_ptr<TransformationBase> result;
    if (type == kTypeCartesianTransformation3D) {
        auto t = std::make_shared<CartesianTransformation3D>();
        ReadCartesianTransformation3DFields(*t);
        result = t;
    } else if (type == kTypeGeneralTransformation) {
        auto t = std::make_shared<GeneralTransformation>();
        for (uint32_t i = 0; i < kMatrixSize; ++i) t->matrix[i] = static_cast<float>(ReadDouble());
        result = t;
    } else {
        return nullptr;
    }
    if (!ReadSchemaTail(type)) return nullptr;
    return result;
}

std::shared_ptr<RepresentationItem> BitstreamReader::ReadRepresentationItemDefinition(uint32_t depth) {
    const uint32_t type = ReadUnsignedInteger();
    std::shared_ptr<RepresentationItem> item = MakeRepresentationItem(type);
    if (!item) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadRepresentationItemDefinition() - invalid type!");
        return nullptr;
    }
    if (!ReadContentPRCBase(item->base, false) || !ReadGraphics(item->graphics)) return nullptr;
    item->localCoordinateSystemIndex = MinusOne(ReadUnsignedInteger());
    item->tessellationIndex = MinusOne(ReadUnsignedInteger());

    switch (type) {
        case kTypeBrepModel: {
            auto& brep = static_cast<RI_BrepModel&>(*item);
            brep.hasBrep = ReadBit() != 0;
            if (brep.hasBrep) {
                brep.contextIndex = ReadUnsignedInteger();
                brep.bodyIndex = ReadUnsignedInteger();
            }
            brep.isClosed = ReadBit() != 0;
            break;
        }
        case kTypeCurve: {
            auto& curve = static_cast<RI_Curve&>(*item);
            curve.hasCurve = ReadBit() != 0;
            if (curve.hasCurve) {
                curve.contextIndex = ReadUnsignedInteger();
                curve.bodyIndex = ReadUnsignedInteger();
            }
            break;
        }
        case kTypeDirection: {
            auto& direction = static_cast<RI_Direction&>(*item);
            direction.hasOrigin = ReadBit() != 0;
            if (direction.hasOrigin) direction.origin = ReadVector3();
            direction.direction = ReadVector3();
            break;
        }
        case kTypePlane: {
            auto& plane = static_cast<RI_Plane&>(*item);
            plane.hasPlane = ReadBit() != 0;
            if (plane.hasPlane) {
                plane.contextIndex = ReadUnsignedInteger();
                plane.bodyIndex = ReadUnsignedInteger();
            }
            break;
        }
        case kTypePointSet: {
            auto& set = static_cast<RI_PointSet&>(*item);
            const uint32_t count = ReadUnsignedInteger();
            if (!CountFits(count, kVectorBits, "point")) return nullptr;
            set.points.resize(count);
            for (Vec3f& point : set.points) point = ReadVector3();
            break;
        }
        case kTypePolyBrepModel: static_cast<RI_PolyBrepModel&>(*item).isClosed = ReadBit() != 0; break;
        case kTypePolyWire: break;
        case kTypeSet: {
            if (depth >= kMaxNestingDepth) {
                Logger::Log(LogLevel::Error, "BitstreamReader - sets of representation items nested too deeply");
                return nullptr;
            }
            auto& set = static_cast<RI_Set&>(*item);
            const uint32_t count = ReadUnsignedInteger();
            if (!CountFits(count, kMinimumItemBits, "representation item")) return nullptr;
            for (uint32_t i = 0; i < count; ++i) {
                auto child = ReadRepresentationItemDefinition(depth + 1);
                if (!child) return nullptr;
                set.items.push_back(std::move(child));
            }
            break;
        }
        case kTypeCoordinateSystem: {
            auto& system = static_cast<RI_CoordinateSystem&>(*item);
            system.transformation = ReadTransformation();
            if (!system.transformation) return nullptr;
            break;
        }
        default: break;
    }
    if (!ReadUserData(item->userData)) return nullptr;
    return item;
}

std::shared_ptr<ReferenceData> BitstreamReader::ReadReferenceData() {
    // A set bit announces the reference's type; a clear one repeats the type of the
    // reference read before it in the section.
    if (ReadBit()) {
        const uint32_t type = ReadUnsignedInteger();
        if (type != kTypeReferenceUniqueID && type != kTypeContentReferenceOnTopology) {
            Logger::Log(LogLevel::Error, "BitstreamReader::ReadReferenceData() - INVALID REF DATA!");
            return nullptr;
        }
        currentReferenceType_ = type;
    } else if (currentReferenceType_ == 0) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadReferenceData() - INVALID REF DATA!");
        return nullptr;
    }
    if (currentReferenceType_ == kTypeReferenceUniqueID) {
        auto reference = std::make_shared<ReferenceUniqueID>();
        reference->targetType = ReadUnsignedInteger();
        reference->sameFileStructure = ReadBit() != 0;
        if (!reference->sameFileStructure)
            for (uint32_t& word : reference->fileStructure.words) word = ReadUnsignedInteger();
        reference->uniqueIdentifier = ReadUnsignedInteger();
        (void)ReadUnsignedInteger();
        return reference;
    }
    auto reference = std::make_shared<ContentReferenceOnTopology>();
    reference->targetType = ReadUnsignedInteger();
    reference->flagA = ReadBit() != 0;
    reference->sameFileStructure = ReadBit() != 0;
    if (!reference->sameFileStructure)
        for (uint32_t& word : reference->fileStructure.words) word = ReadUnsignedInteger();
    reference->referenceIndex = ReadUnsignedInteger();
    reference->topologyType = ReadUnsignedInteger();
    const uint32_t count = ReadUnsignedInteger();
    if (!CountFits(count, kMinimumItemBits, "topology index")) return nullptr;
    reference->indices.resize(count);
    for (uint32_t& index : reference->indices) index = ReadUnsignedInteger();
    return reference;
}

std::shared_ptr<EntityReference> BitstreamReader::ReadEntityReference(bool linkedItem) {
    auto reference = std::make_shared<EntityReference>();
    reference->base.type = linkedItem ? kTypeMarkupLinkedItem : kTypeEntityReference;
    if (!ReadContentPRCBase(reference->base, true) || !ReadGraphics(reference->graphics)) return nullptr;
    reference->coordinateSystemIndex = ReadUnsignedInteger();
    reference->reference = ReadReferenceData();
    if (!reference->reference) return nullptr;
    if (linkedItem) {
        reference->secondReference = ReadReferenceData();
        if (!reference->secondReference) return nullptr;
        for (bool& flag : reference->flags) flag = ReadBit() != 0;
    }
    if (!ReadUserData(reference->userData)) return nullptr;
    return reference;
}

}  // namespace Velmora::PRC
