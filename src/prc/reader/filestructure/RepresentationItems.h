#pragma once
// Representation items of a part definition. Only tessellation yields anything to render;
// the geometric items are kept for their references.

#include <cstdint>
#include <memory>
#include <vector>

#include "prc/reader/filestructure/ContentBase.h"
#include "prc/reader/filestructure/Transformations.h"

namespace Velmora::PRC::FileStructure {

struct RepresentationItem {
    explicit RepresentationItem(uint32_t t) { base.type = t; }
    virtual ~RepresentationItem() = default;
    ContentPRCBase base;
    Graphics graphics;
    int32_t localCoordinateSystemIndex = -1;
    int32_t tessellationIndex = -1;
    UserData userData;
};

struct RI_BrepModel : RepresentationItem {
    RI_BrepModel() : RepresentationItem(232) {}
    bool hasBrep = false;
    uint32_t contextIndex = 0;
    uint32_t bodyIndex = 0;
    bool isClosed = false;
};

struct RI_Curve : RepresentationItem {
    RI_Curve() : RepresentationItem(233) {}
    bool hasCurve = false;
    uint32_t contextIndex = 0;
    uint32_t bodyIndex = 0;
};

struct RI_Direction : RepresentationItem {
    RI_Direction() : RepresentationItem(234) {}
    bool hasOrigin = false;
    Vec3f origin{0, 0, 0};
    Vec3f direction{0, 0, 0};
};

struct RI_Plane : RepresentationItem {
    RI_Plane() : RepresentationItem(235) {}
    bool hasPlane = false;
    uint32_t contextIndex = 0;
    uint32_t bodyIndex = 0;
};

struct RI_PointSet : RepresentationItem {
    RI_PointSet() : RepresentationItem(236) {}
    std::vector<Vec3f> points;
};

struct RI_PolyBrepModel : RepresentationItem {
    RI_PolyBrepModel() : RepresentationItem(237) {}
    bool isClosed = false;
};

struct RI_PolyWire : RepresentationItem {
    RI_PolyWire() : RepresentationItem(238) {}
};

struct RI_Set : RepresentationItem {
    RI_Set() : RepresentationItem(239) {}
    std::vector<std::shared_ptr<RepresentationItem>> items;
};

struct RI_CoordinateSystem : RepresentationItem {
    RI_CoordinateSystem() : RepresentationItem(240) {}
    std::shared_ptr<TransformationBase> transformation;
};

}  // namespace Velmora::PRC::FileStructure
