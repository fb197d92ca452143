#include "u3d/CLODMeshDeclaration.h"

#include "u3d/BitStreamReader.h"
#include "u3d/CLODMeshData.h"

namespace Velmora::U3D {

std::shared_ptr<AuthorMeshData> CLODMeshDeclaration::CreateMeshData() {
    auto data = std::make_shared<CLODMeshData>();
    data->blockKind = BlockType::CLODMeshDeclaration;
    return data;
}

bool CLODMeshDeclaration::ReadMeshSpecific(BitStreamReader& reader, AuthorMeshData& base) {
    auto* data = dynamic_cast<CLODMeshData*>(&base);
    if (!data) return false;
    data->meshAttributes = reader.ReadU32();
    data->faceCount = reader.ReadU32();
    if (!ReadCountsAndShading(reader, *data)) return false;
    data->minResolution = reader.ReadU32();
    data->maxResolution = reader.ReadU32();
    ReadQuantisation(reader, *data);
    data->normalCrease = reader.ReadF32();
    data->normalUpdate = reader.ReadF32();
    data->normalTolerance = reader.ReadF32();
    // Every field above is plain and required: a declaration cut short reads past its end.
    return reader.BitPosition() <= uint64_t(reader.ByteSize()) * 8;
}

}  // namespace Velmora::U3D
