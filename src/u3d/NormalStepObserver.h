#pragma once
// A look into the normal step of the progressive updates, for checking the predicted
// normals against an independent computation. Loads leave it empty and pay one test per
// position for it.

#include <array>
#include <cstdint>
#include <functional>
#include <span>

namespace Velmora::U3D {

class AuthorMesh;

// One position's normal step: the corners of the faces around it as they stand at that
// update (highest face first), and the normals it adds from firstNormal on, one per entry
// of `turned` (set where the prediction is negated).
struct NormalStepView {
    uint32_t position = 0;
    uint32_t firstNormal = 0;
    std::span<const std::array<uint32_t, 3>> faceCorners;
    std::span<const uint8_t> turned;
};

// Called from the thread that decodes the mesh; meshes of one file may be decoded on
// different threads at once.
using NormalStepObserver = std::function<void(const AuthorMesh& mesh, const NormalStepView& step)>;

}  // namespace Velmora::U3D
