#pragma once
// Normals for a triangle tessellation that brings none: one per triangle corner, the average
// of the faces round the corner's vertex that meet the corner's face at a shallow angle. A
// cube keeps its flat sides, a curved surface shades smooth.

#include <vector>

#include "prc/reader/filestructure/Tessellation.h"

namespace Velmora::PRC {

// Faces meeting at a vertex above this angle keep a crease between them.
inline constexpr float kCreaseAngleDegrees = 45.0f;
// A vertex shared by more faces than this is shaded flat: averaging over it would cost time
// proportional to the square of its faces, and no sensible surface has such a vertex.
inline constexpr uint32_t kMaxSmoothedValence = 64;

// One unit normal per entry of triangleIndices (three a triangle) into `normals`. A degenerate
// face gets (0, 0, 1). False (normals empty) for an index outside the vertices or when out of
// memory.
bool GenerateCornerNormals(const FileStructure::BaseTessData& tess, std::vector<FileStructure::Vec3f>& normals);

}  // namespace Velmora::PRC
