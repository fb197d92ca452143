#pragma once
// Entities that the stream holds beside the tree and that are kept without further use:
// references, markup definitions, annotations, views, filters, lights, cameras and scene
// display parameters.

#include <cstdint>
#include <memory>
#include <vector>

#include "prc/reader/filestructure/ContentBase.h"
#include "prc/reader/filestructure/Transformations.h"

namespace Velmora::PRC::FileStructure {

struct ReferenceData {
    explicit ReferenceData(uint32_t t) : type(t) {}
    virtual ~ReferenceData() = default;
    uint32_t type;
};

struct ReferenceUniqueID : ReferenceData {
    ReferenceUniqueID() : ReferenceData(205) {}
    uint32_t targetType = 0;
    bool sameFileStructure = true;
    UniqueID fileStructure;
    uint32_t uniqueIdentifier = 0;
};

struct ContentReferenceOnTopology : ReferenceData {
    ContentReferenceOnTopology() : ReferenceData(206) {}
    uint32_t targetType = 0;
    bool flagA = false;
    bool sameFileStructure = true;
    UniqueID fileStructure;
    uint32_t referenceIndex = 0;
    uint32_t topologyType = 0;
    std::vector<uint32_t> indices;
};

// An entity reference (and a linked item without its flags) as the tree and filters hold it.
struct EntityReference {
    ContentPRCBase base;
    Graphics graphics;
    uint32_t coordinateSystemIndex = 0;
    std::shared_ptr<ReferenceData> reference;
    std::shared_ptr<ReferenceData> secondReference;
    bool flags[4] = {false, false, false, false};
    UserData userData;
};

struct MarkupLeader {
    ContentPRCBase base;
    std::vector<uint32_t> linkedItems;
    int32_t tessellationIndex = -1;
    UserData userData;
};

struct MarkupEntity {
    ContentPRCBase base;
    Graphics graphics;
    uint32_t markupType = 0;
    uint32_t subType = 0;
    std::vector<uint32_t> linkedItems;
    std::vector<uint32_t> leaders;
    int32_t tessellationIndex = -1;
    UserData userData;
};

struct AnnotationEntity {
    explicit AnnotationEntity(uint32_t t) { base.type = t; }
    virtual ~AnnotationEntity() = default;
    ContentPRCBase base;
    Graphics graphics;
    UserData userData;
};

struct AnnotationItem : AnnotationEntity {
    AnnotationItem() : AnnotationEntity(504) {}
    uint32_t markup = 0;
};

struct AnnotationSet : AnnotationEntity {
    AnnotationSet() : AnnotationEntity(505) {}
    std::vector<std::shared_ptr<AnnotationEntity>> entities;
};

struct AnnotationReference : AnnotationEntity {
    AnnotationReference() : AnnotationEntity(506) {}
    std::vector<std::shared_ptr<EntityReference>> references;
};

struct MarkupDefinitions {
    std::vector<std::shared_ptr<EntityReference>> linkedItems;
    std::vector<std::shared_ptr<MarkupLeader>> leaders;
    std::vector<std::shared_ptr<MarkupEntity>> markups;
    std::vector<std::shared_ptr<AnnotationEntity>> annotations;
};

struct Light {
    explicit Light(uint32_t t) { base.type = t; }
    virtual ~Light() = default;
    ContentPRCBase base;
    uint32_t ambient = 0, diffuse = 0, specular = 0;
    UserData userData;
};

struct AmbientLight : Light {
    AmbientLight() : Light(731) {}
};

struct PositionedLight : Light {
    explicit PositionedLight(uint32_t t) : Light(t) {}
    double position[3] = {0, 0, 0};
    double direction[3] = {0, 0, 0};
    double attenuation[3] = {0, 0, 0};
    double intensity = 0, fallOffAngle = 0, fallOffExponent = 0;
};

struct Camera {
    ContentPRCBase base;
    bool orthographic = false;
    double position[3] = {0, 0, 0};
    double lookAt[3] = {0, 0, 0};
    double up[3] = {0, 0, 0};
    double fieldOfViewX = 0, fieldOfViewY = 0, aspectRatio = 0, nearPlane = 0, farPlane = 0, zoom = 0;
    UserData userData;
};

struct PlaneSurface {
    ContentPRCBase base;
    double values[8] = {0, 0, 0, 0, 0, 0, 0, 0};
};

struct SceneDisplayParameters {
    ContentPRCBase base;
    bool isActive = false;
    std::vector<std::shared_ptr<Light>> lights;
    std::shared_ptr<Camera> camera;
    bool hasRotationCentre = false;
    Vec3f rotationCentre{0, 0, 0};
    std::vector<PlaneSurface> clippingPlanes;
    int32_t backgroundStyle = -1;
    int32_t defaultStyle = -1;
    std::vector<std::pair<uint32_t, uint32_t>> defaultStylesPerType;
    bool newerFlag = false;
    UserData userData;
};

struct Filter {
    ContentPRCBase base;
    bool isActive = false;
    bool layersInclusive = false;
    std::vector<uint32_t> layerIndices;
    bool entitiesInclusive = false;
    std::vector<std::shared_ptr<EntityReference>> entities;
    UserData userData;
};

struct View {
    ContentPRCBase base;
    Graphics graphics;
    bool isAnnotationView = false;
    bool isDefaultView = false;
    std::vector<ReferenceUniqueID> annotations;
    PlaneSurface plane;
    bool hasSceneDisplayParameters = false;
    std::shared_ptr<SceneDisplayParameters> sceneDisplayParameters;
    bool newerFlags[3] = {false, false, false};
    std::vector<std::shared_ptr<Filter>> displayFilters;
    std::vector<std::shared_ptr<EntityReference>> linkedItems;
    UserData userData;
};

}  // namespace Velmora::PRC::FileStructure
