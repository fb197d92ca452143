#pragma once
// One run of primitives of one kind with one material, in file order.

#include <cstdint>
#include <string>
#include <vector>

#include "obj/FaceInfo.h"

namespace Velmora::OBJ {

enum class PrimitiveKind : uint32_t { Undecided = 0, Points = 1, Lines = 2, Triangles = 3 };

struct Geometry {
    PrimitiveKind type = PrimitiveKind::Undecided;
    std::string materialName;
    bool hasTexCoords = false;  // decided by the first primitive
    bool hasNormals = false;    // decided by the first primitive
    std::vector<FaceInfo> faces;

    bool Empty() const { return type == PrimitiveKind::Undecided || faces.empty(); }
    // Same kind and the same index layout: the faces of one may join the other.
    bool CompatibleWith(const Geometry& other) const {
        return type == other.type && hasNormals == other.hasNormals && hasTexCoords == other.hasTexCoords;
    }
};

}  // namespace Velmora::OBJ
