#include "rendering/CameraInfo.h"

#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

bool CameraInfo::IsValid() const {
    if (type < CameraType::Fixed || type > CameraType::Walk) {
        Logger::Log(LogLevel::Error, "CameraInfo: Invalid type");
        return false;
    }
    if (name.empty()) {
        Logger::Log(LogLevel::Error, "CameraInfo: Invalid name");
        return false;
    }
    // Written so that a NaN field of view fails as well.
    if (!(fieldOfView >= 1.0f && fieldOfView <= 180.0f)) {
        Logger::Log(LogLevel::Error, "CameraInfo: Invalid FOV");
        return false;
    }
    for (int row = 0; row < 3; ++row) {
        if (MathUtil::IsZero(orientation[row])) {
            Logger::Log(LogLevel::Error, "CameraInfo: Invalid orientation matrix[%d]", row);
            return false;
        }
    }
    if (eye == target) {
        Logger::Log(LogLevel::Error, "CameraInfo: Invalid target cam settings");
        return false;
    }
    return true;
}

}  // namespace Velmora::Rendering
