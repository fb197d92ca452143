// Markup definitions, annotations, views, scene display parameters, lights and cameras. They
// lie in the stream and are kept; nothing renders them.

#include "prc/reader/BitstreamReader.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kMinimumItemBits = 1;
constexpr uint32_t kPlaneValues = 8;
constexpr uint32_t kNewerViewFlags = 3;

int32_t MinusOne(uint32_t value) { return static_cast<int32_t>(value) - 1; }

template <typename T, typename ReadOne>
bool ReadCounted(BitstreamReader& reader, std::vector<T>& out, const char* what, ReadOne readOne) {
    const uint32_t count = reader.ReadUnsignedInteger();
    if (!reader.CountFits(count, kMinimumItemBits, what)) return false;
    for (uint32_t i = 0; i < count; ++i) {
        T item = readOne();
        if (!item) return false;
        out.push_back(std::move(item));
    }
    return true;
}

bool ReadIndices(BitstreamReader& reader, std::vector<uint32_t>& out, const char* what) {
    const uint32_t count = reader.ReadUnsignedInteger();
    if (!reader.CountFits(count, kMinimumItemBits, what)) return false;
    out.resize(count);
    for (uint32_t& value : out) value = reader.ReadUnsignedInteger();
    return true;
}

void ReadPoint(BitstreamReader& reader, double (&point)[3]) {
    for (double& c : point) c = reader.ReadDouble();
}

}  // namespace

std::shared_ptr<MarkupLeader> BitstreamReader::ReadMarkupLeader() {
    auto leader = std::make_shared<MarkupLeader>();
    leader->base.type = kTypeLeader;
    if (!ReadContentPRCBase(leader->base, true)) return nullptr;
    if (!ReadIndices(*this, leader->linkedItems, "leader linked item")) return nullptr;
    leader->tessellationIndex = MinusOne(ReadUnsignedInteger());
    if (!ReadUserData(leader->userData)) return nullptr;
    return leader;
}

std::shared_ptr<MarkupEntity> BitstreamReader::ReadMarkup() {
    auto markup = std::make_shared<MarkupEntity>();
    markup->base.type = kTypeMarkup;
    if (!ReadContentPRCBase(markup->base, true) || !ReadGraphics(markup->graphics)) return nullptr;
    markup->markupType = ReadUnsignedInteger();
    markup->subType = ReadUnsignedInteger();
    if (!ReadIndices(*this, markup->linkedItems, "markup linked item")) return nullptr;
    if (!ReadIndices(*this, markup->leaders, "markup leader")) return nullptr;
    markup->tessellationIndex = MinusOne(ReadUnsignedInteger());
    if (!ReadUserData(markup->userData)) return nullptr;
    return markup;
}

std::shared_ptr<AnnotationEntity> BitstreamReader::ReadAnnotationEntity(uint32_t depth) {
    const uint32_t type = ReadUnsignedInteger();
    std::shared_ptr<AnnotationEntity> entity;
    switch (type) {
        case kTypeAnnotationItem: entity = std::make_shared<AnnotationItem>(); break;
        case kTypeAnnotationSet: entity = std::make_shared<AnnotationSet>(); break;
        case kTypeAnnotationReference: entity = std::make_shared<AnnotationReference>(); break;
        default: Logger::Log(LogLevel::Error, "BitstreamReader::ReadAnnotationEntity() - INVALID TYPE"); return nullptr;
    }
    if (!ReadContentPRCBase(entity->base, false) || !ReadGraphics(entity->graphics)) return nullptr;
    if (type == kTypeAnnotationItem) {
        static_cast<AnnotationItem&>(*entity).markup = ReadUnsignedInteger();
    } else if (type == kTypeAnnotationSet) {
        if (depth >= kMaxNestingDepth) {
            Logger::Log(LogLevel::Error, "BitstreamReader - annotation sets nested too deeply");
            return nullptr;
        }
        auto& set = static_cast<AnnotationSet&>(*entity);
        if (!ReadCounted(*this, set.entities, "annotation", [&] { return ReadAnnotationEntity(depth + 1); }))
            return nullptr;
    } else {
        auto& reference = static_cast<AnnotationReference&>(*entity);
        if (!ReadCounted(*this, reference.references, "annotation reference",
                         [&] { return ReadEntityReference(true); }))
            return nullptr;
    }
    if (!ReadUserData(entity->userData)) return nullptr;
    return entity;
}

bool BitstreamReader::ReadMarkupDefinitions(MarkupDefinitions& markup) {
    return ReadCounted(*this, markup.linkedItems, "linked item", [&] { return ReadEntityReference(true); }) &&
           ReadCounted(*this, markup.leaders, "leader", [&] { return ReadMarkupLeader(); }) &&
           ReadCounted(*this, markup.markups, "markup", [&] { return ReadMarkup(); }) &&
           ReadCounted(*this, markup.annotations, "annotation", [&] { return ReadAnnotationEntity(); });
}

bool BitstreamReader::ReadPlaneSurface(PlaneSurface& plane) {
    if (ReadUnsignedInteger() != kTypeSurfacePlane) {
        Logger::Log(LogLevel::Error, "BitstreamReader - unexpected surface type of a plane");
        return false;
    }
    plane.base.type = kTypeSurfacePlane;
    if (!ReadContentPRCBase(plane.base, false)) return false;
    for (uint32_t i = 0; i < kPlaneValues; ++i) plane.values[i] = ReadDouble();
    return true;
}

std::shared_ptr<Light> BitstreamReader::ReadLight() {
    const uint32_t type = ReadUnsignedInteger();
    std::shared_ptr<Light> light;
    if (type == kTypeAmbientLight)
        light = std::make_shared<AmbientLight>();
    else if (type >= kTypePointLight && type <= kTypeSpotLight)
        light = std::make_shared<PositionedLight>(type);
    else {
        Logger::Log(LogLevel::Error, "BitstreamReader - unexpected light type");
        return nullptr;
    }
    if (!ReadContentPRCBase(light->base, false)) return nullptr;
    light->ambient = ReadUnsignedInteger();
    light->diffuse = ReadUnsignedInteger();
    light->specular = ReadUnsignedInteger();
    if (type != kTypeAmbientLight) {
        auto& positioned = static_cast<PositionedLight&>(*light);
        if (type != kTypeDirectionalLight) ReadPoint(*this, positioned.position);
        if (type != kTypePointLight) ReadPoint(*this, positioned.direction);
        if (type == kTypeDirectionalLight) positioned.intensity = ReadDouble();
        if (type == kTypeSpotLight) {
            positioned.fallOffAngle = ReadDouble();
            positioned.fallOffExponent = ReadDouble();
        }
        if (type != kTypeDirectionalLight) ReadPoint(*this, positioned.attenuation);
    }
    if (!ReadUserData(light->userData)) return nullptr;
    return light;
}

std::shared_ptr<Camera> BitstreamReader::ReadCamera() {
    auto camera = std::make_shared<Camera>();
    camera->base.type = kTypeCamera;
    if (!ReadContentPRCBase(camera->base, true)) return nullptr;
    camera->orthographic = ReadBit() != 0;
    ReadPoint(*this, camera->position);
    ReadPoint(*this, camera->lookAt);
    ReadPoint(*this, camera->up);
    camera->fieldOfViewX = ReadDouble();
    camera->fieldOfViewY = ReadDouble();
    camera->aspectRatio = ReadDouble();
    camera->nearPlane = ReadDouble();
    camera->farPlane = ReadDouble();
    camera->zoom = ReadDouble();
    if (!ReadUserData(camera->userData)) return nullptr;
    return camera;
}

std::shared_ptr<SceneDisplayParameters> BitstreamReader::ReadSceneDisplayParameters() {
    auto scene = std::make_shared<SceneDisplayParameters>();
    scene->base.type = kTypeSceneDisplayParameters;
    if (!ReadContentPRCBase(scene->base, true)) return nullptr;
    scene->isActive = ReadBit() != 0;
    if (!ReadCounted(*this, scene->lights, "light", [&] { return ReadLight(); })) return nullptr;
    if (ReadBit()) {
        scene->camera = ReadCamera();
        if (!scene->camera) return nullptr;
    }
    scene->hasRotationCentre = ReadBit() != 0;
    if (scene->hasRotationCentre) scene->rotationCentre = ReadVector3();
    const uint32_t planes = ReadUnsignedInteger();
    if (!CountFits(planes, kMinimumItemBits, "clipping plane")) return nullptr;
    scene->clippingPlanes.resize(planes);
    for (PlaneSurface& plane : scene->clippingPlanes)
        if (!ReadPlaneSurface(plane)) return nullptr;
    scene->backgroundStyle = MinusOne(ReadUnsignedInteger());
    scene->defaultStyle = MinusOne(ReadUnsignedInteger());
    const uint32_t perType = ReadUnsignedInteger();
    if (!CountFits(perType, kMinimumItemBits, "default style")) return nullptr;
    scene->defaultStylesPerType.resize(perType);
    for (auto& entry : scene->defaultStylesPerType) {
        entry.first = ReadUnsignedInteger();
        entry.second = ReadUnsignedInteger();
    }
    if (version_ >= kVersionWithViewFlags) scene->newerFlag = ReadBit() != 0;
    if (!ReadSchemaTail(kTypeSceneDisplayParameters)) return nullptr;
    if (!ReadUserData(scene->userData)) return nullptr;
    return scene;
}

std::shared_ptr<View> BitstreamReader::ReadView() {
    auto view = std::make_shared<View>();
    view->base.type = kTypeView;
    if (!ReadContentPRCBase(view->base, true) || !ReadGraphics(view->graphics)) return nullptr;
    const uint32_t annotations = ReadUnsignedInteger();
    if (!CountFits(annotations, kMinimumItemBits, "view annotation")) return nullptr;
    view->annotations.resize(annotations);
    for (ReferenceUniqueID& reference : view->annotations) {
        if (ReadUnsignedInteger() != kTypeReferenceUniqueID) {
            Logger::Log(LogLevel::Error, "BitstreamReader::ReadReferenceData() - INVALID REF DATA!");
            return nullptr;
        }
        reference.targetType = ReadUnsignedInteger();
        reference.sameFileStructure = ReadBit() != 0;
        if (!reference.sameFileStructure)
            for (uint32_t& word : reference.fileStructure.words) word = ReadUnsignedInteger();
        reference.uniqueIdentifier = ReadUnsignedInteger();
    }
    if (!ReadPlaneSurface(view->plane)) return nullptr;
    view->hasSceneDisplayParameters = ReadBit() != 0;
    if (view->hasSceneDisplayParameters) {
        view->sceneDisplayParameters = ReadSceneDisplayParameters();
        if (!view->sceneDisplayParameters) return nullptr;
    }
    if (version_ >= kVersionWithViewFlags) {
        for (uint32_t i = 0; i < kNewerViewFlags; ++i) view->newerFlags[i] = ReadBit() != 0;
        view->isAnnotationView = view->newerFlags[0];
        view->isDefaultView = view->newerFlags[1];
    }
    if (!ReadCounted(*this, view->linkedItems, "view linked item", [&] { return ReadEntityReference(true); }))
        return nullptr;
    if (!ReadCounted(*this, view->displayFilters, "view filter", [&] { return ReadFilter(); })) return nullptr;
    if (!ReadSchemaTail(kTypeView)) return nullptr;
    if (!ReadUserData(view->userData)) return nullptr;
    return view;
}

}  // namespace Velmora::PRC
