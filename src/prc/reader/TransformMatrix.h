#pragma once
// The renderer's matrix (column major, translation in elements 12..14) of a PRC placement.

#include "prc/reader/filestructure/Transformations.h"
#include "rendering/MathUtil.h"

namespace Velmora::PRC {

// False (logged) for a null transformation, a kind or flag it does not know, or values that
// are not finite; `out` is then left as it was.
bool GetMatrixFromTransform(const FileStructure::TransformationBase* transform, Rendering::Mat4& out);

}  // namespace Velmora::PRC
