#pragma once
// Entity type numbers of the stream, and the types that carry identifiers in their common part.

#include <cstdint>

namespace Velmora::PRC {

enum EntityType : uint32_t {
    kTypeGraphics = 2,
    kTypeTess3D = 172,
    kTypeTessHighlyCompressed = 173,
    kTypeTessFace = 174,
    kTypeTess3DWire = 175,
    kTypeTessMarkup = 176,
    kTypeAttribute = 201,
    kTypeCartesianTransformation3D = 202,
    kTypeEntityReference = 203,
    kTypeMarkupLinkedItem = 204,
    kTypeReferenceUniqueID = 205,
    kTypeContentReferenceOnTopology = 206,
    kTypeGeneralTransformation = 207,
    kTypeRepresentationItem = 231,
    kTypeBrepModel = 232,
    kTypeCurve = 233,
    kTypeDirection = 234,
    kTypePlane = 235,
    kTypePointSet = 236,
    kTypePolyBrepModel = 237,
    kTypePolyWire = 238,
    kTypeSet = 239,
    kTypeCoordinateSystem = 240,
    kTypeModelFile = 301,
    kTypeTreeInternalData = 302,
    kTypeGlobals = 303,
    kTypeTree = 304,
    kTypeTessellationSection = 305,
    kTypeGeometry = 306,
    kTypeExtraGeometry = 307,
    kTypeProductOccurrence = 310,
    kTypePartDefinition = 311,
    kTypeFilter = 320,
    kTypeSurfacePlane = 86,
    kTypeView = 501,
    kTypeMarkup = 502,
    kTypeLeader = 503,
    kTypeAnnotationItem = 504,
    kTypeAnnotationSet = 505,
    kTypeAnnotationReference = 506,
    kTypeLineStyle = 701,
    kTypeMaterialGeneric = 702,
    kTypePicture = 703,
    kTypeMaterialTextureApplication = 711,
    kTypeTextureDefinition = 712,
    kTypeTextureTransformation = 713,
    kTypeLinePattern = 721,
    kTypeDottingPattern = 723,
    kTypeHatchingPattern = 724,
    kTypeSolidPattern = 725,
    kTypeVPicturePattern = 726,
    kTypeAmbientLight = 731,
    kTypePointLight = 732,
    kTypeDirectionalLight = 733,
    kTypeSpotLight = 734,
    kTypeSceneDisplayParameters = 741,
    kTypeCamera = 742,
};

// Types whose common part carries CAD identifier, CAD persistent identifier and unique
// identifier.
inline bool HasIdentifiers(uint32_t type) {
    switch (type) {
        case 203:
        case 204:
        case 310:
        case 311:
        case 320:
        case 701:
        case 702:
        case 711:
        case 712:
        case 721:
        case 741:
        case 742: return true;
        default: break;
    }
    return (type >= 232 && type <= 240) || (type >= 501 && type <= 506) || (type >= 723 && type <= 726) ||
           (type >= 731 && type <= 734);
}

}  // namespace Velmora::PRC
