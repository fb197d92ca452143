#include "u3d/MeshDeclaration.h"

#include <new>
#include <string>

#include "u3d/BitStreamReader.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

bool MeshDeclaration::Read(BitStreamReader& reader) {
    std::shared_ptr<AuthorMeshData> data;
    try {
        data = CreateMeshData();
    } catch (const std::bad_alloc&) {
        data = nullptr;
    }
    if (!data) {
        Logger::Log(LogLevel::Error, "MeshDeclaration::Read() - failed to create mesh specific data!");
        return false;
    }
    try {
        reader.ReadString(data->meshName);
        data->chainIndex = reader.ReadU32();
        if (!ReadMeshSpecific(reader, *data)) {
            Logger::Log(LogLevel::Error, "MeshDeclaration::Read() - failed to read mesh specific data for '%s'",
                        data->meshName.c_str());
            return false;
        }
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "MeshDeclaration::Read() - OUT OF MEMORY!");
        return false;
    }
    std::shared_ptr<AuthorMesh> mesh = AuthorMesh::Create(data);
    if (!mesh) {
        Logger::Log(LogLevel::Error, "MeshDeclaration::Read() - failed to create author mesh for '%s'",
                    data->meshName.c_str());
        return false;
    }
    return pool_.AddMesh(mesh);
}

bool MeshDeclaration::ReadCountsAndShading(BitStreamReader& reader, AuthorMeshData& data) {
    data.positionCount = reader.ReadU32();
    data.normalCount = reader.ReadU32();
    data.diffuseCount = reader.ReadU32();
    data.specularCount = reader.ReadU32();
    data.texCoordCount = reader.ReadU32();
    data.shadingCount = reader.ReadU32();
    return data.shadingCount == 0 || ReadShadingDescriptions(reader, data, data.shadingCount);
}

void MeshDeclaration::ReadQuantisation(BitStreamReader& reader, AuthorMeshData& data) {
    constexpr int kQualityFactors = 3;
    for (int i = 0; i < kQualityFactors; ++i) reader.ReadU32();
    data.inverseQuantPosition = reader.ReadF32();
    data.inverseQuantNormal = reader.ReadF32();
    data.inverseQuantTexCoord = reader.ReadF32();
    data.inverseQuantDiffuse = reader.ReadF32();
    data.inverseQuantSpecular = reader.ReadF32();
}

bool MeshDeclaration::ReadShadingDescriptions(BitStreamReader& reader, AuthorMeshData& data, uint32_t count) {
    // Each description takes at least three u32 (attributes, layer count, shading id).
    if (uint64_t(count) * 96 > reader.RemainingBits()) return false;
    data.shadingDescriptions.resize(count);
    for (ShadingDescription& shading : data.shadingDescriptions) {
        shading.shadingAttributes = reader.ReadU32();
        shading.layerCount = reader.ReadU32();
        if (uint64_t(shading.layerCount) * 32 > reader.RemainingBits()) return false;
        for (uint32_t layer = 0; layer < shading.layerCount; ++layer) {
            const uint32_t dimension = reader.ReadU32();
            if (layer < ShadingDescription::kMaxLayers) {
                shading.layerDimensions[layer] = dimension;
            } else {
                Logger::Log(LogLevel::Warning,
                            "MeshDeclaration::ReadShadingDescriptions() for '%s' - too many texture layers",
                            data.meshName.c_str());
            }
        }
        reader.ReadU32();  // the original shading id, not needed
    }
    return true;
}

bool MeshContinuation::Read(BitStreamReader& reader) {
    std::string name;
    try {
        reader.ReadString(name);
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "MeshContinuation::Read() - OUT OF MEMORY!");
        return false;
    }
    reader.ReadU32();  // chain index

    std::shared_ptr<AuthorMesh> mesh = pool_.FindMesh(name);
    if (!mesh) {
        if (!pool_.WasRemoved(name))
            Logger::Log(LogLevel::Error, "Cannot find AuthorMesh '%s' -> MESH WILL NOT BE CREATED!", name.c_str());
        return true;
    }
    bool ok = false;
    try {
        ok = ReadMeshSpecificData(reader, *mesh);
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "MeshContinuation::Read() - OUT OF MEMORY!");
        ok = false;
    }
    if (!ok) pool_.RemoveMesh(name);
    return true;
}

}  // namespace Velmora::U3D
