#include "prc/reader/TransformMatrix.h"

#include <cmath>

#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using FileStructure::CartesianTransformation3D;
using FileStructure::GeneralTransformation;
using FileStructure::Vec3f;
using Rendering::Mat4;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint8_t kKnownFlags = FileStructure::kTransformTranslate | FileStructure::kTransformRotate |
                                FileStructure::kTransformMirror | FileStructure::kTransformScale |
                                FileStructure::kTransformNonUniformScale | FileStructure::kTransformNonOrtho |
                                FileStructure::kTransformHomogeneous;
constexpr int kColumn = 4;
constexpr int kTranslationColumn = 3;

Vec3f Cross(const Vec3f& a, const Vec3f& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

void SetColumn(Mat4& m, int column, const Vec3f& v, float scale) {
    for (int r = 0; r < 3; ++r) m[size_t(column * kColumn + r)] = v[size_t(r)] * scale;
}

bool FromCartesian(const CartesianTransformation3D& t, Mat4& m) {
    if (t.flags & ~kKnownFlags) {
        Logger::Log(LogLevel::Error,
                    "AuthoringPool_PRC::CreateAuthorNode() - encountered unsupported transformation flag");
        return false;
    }
    m = Rendering::MathUtil::Identity4();
    Vec3f x{1, 0, 0}, y{0, 1, 0}, z{0, 0, 1};
    if (t.flags & FileStructure::kTransformNonOrtho) {
        x = t.xAxis, y = t.yAxis, z = t.zAxis;
    } else if (t.flags & FileStructure::kTransformRotate) {
        x = t.xAxis, y = t.yAxis;
        z = Cross(x, y);
    }
    // A mirroring placement turns the third axis round: the frame becomes left-handed.
    if ((t.flags & FileStructure::kTransformMirror) && !(t.flags & FileStructure::kTransformNonOrtho))
        for (float& c : z) c = -c;
    Vec3f scale{1, 1, 1};
    if (t.flags & FileStructure::kTransformNonUniformScale)
        scale = t.scale;
    else if (t.flags & FileStructure::kTransformScale)
        scale = {t.uniformScale, t.uniformScale, t.uniformScale};
    SetColumn(m, 0, x, scale[0]);
    SetColumn(m, 1, y, scale[1]);
    SetColumn(m, 2, z, scale[2]);
    if (t.flags & FileStructure::kTransformTranslate) SetColumn(m, kTranslationColumn, t.origin, 1.0f);
    return true;
}

// The sixteen values come row after row with the translation in the last column, or, from
// writers that store the renderer's order, with the translation in the last row; the zero
// last row tells the first kind.
void FromGeneral(const GeneralTransformation& t, Mat4& m) {
    const auto& v = t.matrix;
    const bool lastRowZero = v[12] == 0.0f && v[13] == 0.0f && v[14] == 0.0f;
    const bool lastColumnSet = v[3] != 0.0f || v[7] != 0.0f || v[11] != 0.0f;
    if (lastRowZero && lastColumnSet) {
        for (int r = 0; r < kColumn; ++r)
            for (int c = 0; c < kColumn; ++c) m[size_t(c * kColumn + r)] = v[size_t(r * kColumn + c)];
    } else {
        m = v;
    }
}

}  // namespace

bool GetMatrixFromTransform(const FileStructure::TransformationBase* transform, Mat4& out) {
    if (!transform) {
        Logger::Log(LogLevel::Error, "GetMatrixFromTransform() - invalid input transform!");
        return false;
    }
    Mat4 m = Rendering::MathUtil::Identity4();
    if (transform->type == kTypeCartesianTransformation3D) {
        if (!FromCartesian(static_cast<const CartesianTransformation3D&>(*transform), m)) return false;
    } else if (transform->type == kTypeGeneralTransformation) {
        FromGeneral(static_cast<const GeneralTransformation&>(*transform), m);
    } else {
        Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateAuthorNode() - encountered unsupported transformation");
        return false;
    }
    for (const float value : m)
        if (!std::isfinite(value)) {
            Logger::Log(LogLevel::Error, "GetMatrixFromTransform() - invalid input transform!");
            return false;
        }
    out = m;
    return true;
}

}  // namespace Velmora::PRC
