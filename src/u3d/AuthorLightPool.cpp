#include "u3d/AuthorLightPool.h"

#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

bool AuthorLightPool::AddLight(const std::string& name, const LightData& data, uint32_t lightType) {
    if (lightCount >= kMaxLights) {
        Logger::Log(LogLevel::Warning, "Failed to add light '%s' to light pool -> TOO MANY LIGHTS", name.c_str());
        ++droppedLights;
        return false;
    }
    Entry& entry = lights[name];
    entry.data = data;
    entry.lightType = lightType;
    entry.lightIndex = lightCount++;
    return true;
}

void AuthorLightPool::SetAmbient(const std::string& name, const std::array<float, 4>& color) {
    if (hasAmbient)
        Logger::Log(LogLevel::Warning, "Multiple ambient lights, overriding '%s' with '%s'", ambientName.c_str(),
                    name.c_str());
    ambientName = name;
    ambientColor = color;
    hasAmbient = true;
}

const AuthorLightPool::Entry* AuthorLightPool::FindLight(const std::string& name) const {
    auto it = lights.find(name);
    return it != lights.end() ? &it->second : nullptr;
}

}  // namespace Velmora::U3D
