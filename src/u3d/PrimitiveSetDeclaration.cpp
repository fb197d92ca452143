#include "u3d/PrimitiveSetDeclaration.h"

#include "u3d/BitStreamReader.h"
#include "u3d/PrimitiveSetData.h"

namespace Velmora::U3D {

std::shared_ptr<AuthorMeshData> PointSetDeclaration::CreateMeshData() {
    auto data = std::make_shared<PointSetData>();
    data->blockKind = BlockType::PointSetDeclaration;
    return data;
}

std::shared_ptr<AuthorMeshData> LineSetDeclaration::CreateMeshData() {
    auto data = std::make_shared<LineSetData>();
    data->blockKind = BlockType::LineSetDeclaration;
    return data;
}

bool PrimitiveSetDeclaration::ReadMeshSpecific(BitStreamReader& reader, AuthorMeshData& base) {
    auto* data = dynamic_cast<PrimitiveSetData*>(&base);
    if (!data) return false;
    reader.ReadU32();  // reserved, written as 0 ahead of the counts
    data->primitiveCount = reader.ReadU32();
    if (!ReadCountsAndShading(reader, *data)) return false;
    ReadQuantisation(reader, *data);
    // Every field above is plain and required: a declaration cut short reads past its end.
    return reader.BitPosition() <= uint64_t(reader.ByteSize()) * 8;
}

}  // namespace Velmora::U3D
