#pragma once
// Axis-aligned box in world space, accumulated point by point; the first point makes it valid.

#include <algorithm>

#include "rendering/MathUtil.h"

namespace Velmora::Rendering {

struct SceneBoundingBox {
    bool valid = false;
    Vec3 min{0.0f, 0.0f, 0.0f};
    Vec3 max{0.0f, 0.0f, 0.0f};

    void Merge(const Vec3& point) {
        if (!valid) {
            min = max = point;
            valid = true;
            return;
        }
        for (int i = 0; i < 3; ++i) {
            min[i] = std::min(min[i], point[i]);
            max[i] = std::max(max[i], point[i]);
        }
    }
};

}  // namespace Velmora::Rendering
