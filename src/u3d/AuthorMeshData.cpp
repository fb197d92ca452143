#include "u3d/AuthorMeshData.h"

#include <algorithm>
#include <new>

#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr LogLevel kDumpLevel = LogLevel::ExtraVerbose;

uint32_t Capped(uint32_t count) { return std::min(count, kMaxReservedEntries); }

void PrintVec3(const char* header, const std::vector<Vec3f>& values) {
    Logger::Log(kDumpLevel, "%s", header);
    for (size_t i = 0; i < values.size(); ++i)
        Logger::Log(kDumpLevel, "[%04u] { %.3f, %.3f, %.3f }", static_cast<unsigned>(i), values[i][0], values[i][1],
                    values[i][2]);
}

void PrintVec4(const char* header, const std::vector<Vec4f>& values) {
    Logger::Log(kDumpLevel, "%s", header);
    for (size_t i = 0; i < values.size(); ++i)
        Logger::Log(kDumpLevel, "[%04u] { %.3f, %.3f, %.3f, %.3f }", static_cast<unsigned>(i), values[i][0],
                    values[i][1], values[i][2], values[i][3]);
}
}  // namespace

bool AuthorMeshContinuationData::Prepare(const AuthorMeshData& declaration) {
    try {
        positions.reserve(Capped(declaration.positionCount));
        diffuseColors.reserve(Capped(declaration.diffuseCount));
        specularColors.reserve(Capped(declaration.specularCount));
        texCoords.reserve(Capped(declaration.texCoordCount));
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void AuthorMeshContinuationData::Print() const {
    if (Logger::Passes(kDumpLevel)) PrintArrays();
}

void AuthorMeshContinuationData::PrintArrays() const {
    PrintVec3("Available Positions: ", positions);
    PrintVec3("Available Normals: ", normals);
    PrintVec4("Available Diffuse Colors: ", diffuseColors);
    PrintVec4("Available Specular Colors: ", specularColors);
    PrintVec4("Available Texture Coords: ", texCoords);
}

}  // namespace Velmora::U3D
