#include "u3d/CLODBaseMeshContinuation.h"

#include "u3d/BitStreamReader.h"
#include "u3d/CLODMeshData.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

uint32_t UniformIndexContext(uint64_t count) {
    const uint64_t context = count + BitStreamReader::kStaticFull;
    return context >= BitStreamReader::kMaxRange ? 0 : static_cast<uint32_t>(context);
}

namespace {

template <size_t N>
void ReadFloats(BitStreamReader& reader, std::vector<std::array<float, N>>& out, uint32_t count) {
    out.resize(count);
    for (auto& value : out)
        for (float& component : value) component = reader.ReadF32();
}

// Reads one attribute index coded uniformly over `count` and checks it against the count.
bool ReadIndex(BitStreamReader& reader, uint32_t count, uint32_t& out) {
    out = reader.ReadCompressedU32(UniformIndexContext(count));
    return out < count;
}

}  // namespace

bool CLODBaseMeshContinuation::ReadMeshSpecificData(BitStreamReader& reader, AuthorMesh& mesh) {
    auto* declaration = mesh.DeclarationAs<CLODMeshData>();
    auto* continuation = mesh.ContinuationAs<CLODMeshContinuationData>();
    const char* name = mesh.name.c_str();
    if (!declaration || !continuation) {
        Logger::Log(LogLevel::Error, "Cannot look up declaration/continuation of AuthorMesh '%s'", name);
        return false;
    }
    if (!continuation->IsEmpty() || !continuation->primitives.empty() || !continuation->faceCorners.empty()) {
        Logger::Log(LogLevel::Error,
                    "CLODBaseMeshContinuation::ReadMeshSpecificData - base data not empty in AuthorMesh '%s'", name);
        return false;
    }
    const uint32_t faceCount = reader.ReadU32();
    const uint32_t positionCount = reader.ReadU32();
    const uint32_t normalCount = reader.ReadU32();
    const uint32_t diffuseCount = reader.ReadU32();
    const uint32_t specularCount = reader.ReadU32();
    const uint32_t texCoordCount = reader.ReadU32();

    // The counts may not exceed what the declaration promised, and the plain floats must be
    // in the block: both are checked before anything is sized from them.
    const uint64_t floatBits = (uint64_t(positionCount) * 3 + uint64_t(normalCount) * 3 +
                                (uint64_t(diffuseCount) + specularCount + texCoordCount) * 4) *
                               32;
    if (faceCount > declaration->faceCount || faceCount > MaxFacesForBlock(reader.ByteSize()) ||
        positionCount > declaration->positionCount || normalCount > declaration->normalCount ||
        diffuseCount > declaration->diffuseCount || specularCount > declaration->specularCount ||
        texCoordCount > declaration->texCoordCount || floatBits > reader.RemainingBits()) {
        Logger::Log(LogLevel::Error,
                    "CLODBaseMeshContinuation::ReadMeshSpecificData - invalid counts in AuthorMesh '%s'", name);
        return false;
    }
    ReadFloats(reader, continuation->positions, positionCount);
    ReadFloats(reader, continuation->normals, normalCount);
    ReadFloats(reader, continuation->diffuseColors, diffuseCount);
    ReadFloats(reader, continuation->specularColors, specularCount);
    ReadFloats(reader, continuation->texCoords, texCoordCount);

    const bool hasNormals = declaration->HasNormals();
    const auto& descriptions = declaration->shadingDescriptions;
    continuation->ReserveFaces(faceCount);
    for (uint32_t i = 0; i < faceCount; ++i) {
        CLODFace face;
        CLODFaceAttributes attributes;
        face.shadingId = reader.ReadCompressedU32(1);
        if (face.shadingId >= declaration->shadingCount || face.shadingId >= descriptions.size()) {
            Logger::Log(LogLevel::Error, "Invalid shading ID for AuthorMesh '%s'", name);
            return false;
        }
        const ShadingDescription& shading = descriptions[face.shadingId];
        bool ok = true;
        for (int c = 0; c < 3 && ok; ++c) {
            ok = ReadIndex(reader, positionCount, face.positions[c]);
            if (hasNormals) ok = ReadIndex(reader, normalCount, face.normals[c]) && ok;
            if (shading.HasDiffuse()) ok = ReadIndex(reader, diffuseCount, attributes.diffuse[c]) && ok;
            if (shading.HasSpecular()) ok = ReadIndex(reader, specularCount, attributes.specular[c]) && ok;
            for (uint32_t layer = 0; layer < shading.layerCount; ++layer) {
                uint32_t index = 0;
                ok = ReadIndex(reader, texCoordCount, index) && ok;
                if (layer < ShadingDescription::kMaxLayers) attributes.texCoords[layer][c] = index;
            }
        }
        if (!ok || reader.Exhausted()) {
            Logger::Log(LogLevel::Error,
                        "CLODBaseMeshContinuation::ReadMeshSpecificData - invalid face %u in AuthorMesh '%s'", i, name);
            return false;
        }
        const uint32_t faceIndex = continuation->primitiveCount;
        continuation->AddFace(face, &attributes);
        for (uint32_t p : face.positions) mesh.adjacencySet.AddFace(p, faceIndex);
    }
    return true;
}

}  // namespace Velmora::U3D
