#include "u3d/FileBlocks.h"

#include <algorithm>
#include <new>

#include "u3d/AuthorMeshPool.h"
#include "u3d/AuthorShaderPool.h"
#include "u3d/BitStreamReader.h"
#include "u3d/RHCMeshData.h"
#include "u3d/RHReader.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

bool FileHeader::Read(BitStreamReader& reader) {
    versionA = reader.ReadI16();
    versionB = reader.ReadI16();
    profile = reader.ReadU32();
    declarationSize = reader.ReadU32();
    fileSize = reader.ReadU64();
    encoding = reader.ReadU32();
    if (profile & 0x8) {
        scaleFactor = reader.ReadF64();
        Logger::Log(LogLevel::Info, "This U3D file uses a scaling value of '%f'", scaleFactor);
    }
    if (profile & 0x4) Logger::Log(LogLevel::Info, "This U3D File is using uncompressed data!");
    if (encoding != 106) Logger::Log(LogLevel::Warning, "Encoding is different from UTF-8 - data might be incorrect!");
    if (profile & 0x2) Logger::Log(LogLevel::Warning, "Extensibility features are used!");
    // The second value read goes first in the text.
    Logger::Log(LogLevel::Info, "U3D File Version %d.%d", int(versionB), int(versionA));
    return true;
}

bool ModifierChain::Read(BitStreamReader& reader) {
    if (chainBlocks_ == nullptr) {
        Logger::Log(LogLevel::Error, "ModifierChain without valid raw-block-target!");
        return false;
    }
    const std::string name = reader.ReadString();
    reader.ReadU32();  // chain type
    const uint32_t attributes = reader.ReadU32();
    if (attributes & 0x1)
        for (int i = 0; i < 4; ++i) reader.ReadF32();  // bounding sphere
    if (attributes & 0x2)
        for (int i = 0; i < 6; ++i) reader.ReadF32();  // bounding box
    // Padding to a 4-byte boundary, counted from the name's length.
    const uint32_t padding = static_cast<uint32_t>((2 - int64_t(name.size())) & 3);
    for (uint32_t i = 0; i < padding; ++i) reader.ReadU8();
    const uint32_t modifierCount = reader.ReadU32();

    uint32_t offset = reader.CurrentByteOffset();
    const uint32_t size = reader.ByteSize();
    // A nested block that fails consumes nothing, so a bad chain ends after modifierCount
    // fruitless rounds; the rounds are cut short once the data is used up.
    for (uint32_t i = 0; i < modifierCount && offset < size; ++i) {
        uint64_t consumed = 0;
        std::shared_ptr<RawDataBlock> block =
            U3DDataBlock::CreateFromFileData(reader.Data() + offset, size - offset, consumed);
        if (!block) {
            // Every further round would try the same place again with the same result.
            break;
        }
        try {
            chainBlocks_->push_back(std::move(block));
        } catch (const std::bad_alloc&) {
            Logger::Log(LogLevel::Error, "OUT OF MEMORY");
            return true;
        }
        offset = static_cast<uint32_t>(std::min<uint64_t>(uint64_t(offset) + consumed, size));
    }
    return true;
}

bool NewObjectType::Read(BitStreamReader& reader) {
    const std::string name = reader.ReadString();
    for (int i = 0; i < 4; ++i) reader.ReadU8();  // modifier type
    const uint32_t id1 = reader.ReadU32();
    const uint16_t id2 = reader.ReadU16();
    const uint16_t id3 = reader.ReadU16();
    uint8_t id4[8];
    for (uint8_t& b : id4) b = reader.ReadU8();
    const uint32_t declarationBlockType = reader.ReadU32();
    const uint32_t continuationCount = reader.ReadU32();
    bool ok = continuationCount <= reader.RemainingBits() / 32;
    for (uint32_t i = 0; ok && i < continuationCount; ++i) reader.ReadU32();
    std::string vendorName, extensionInfo;
    if (ok) {
        reader.ReadString(vendorName);
        const uint32_t urlCount = reader.ReadU32();
        ok = urlCount <= reader.RemainingBits() / 16;
        for (uint32_t i = 0; ok && i < urlCount; ++i) reader.ReadString();
        if (ok) reader.ReadString(extensionInfo);
    }
    static const uint8_t kId4[8] = {0xB2, 0xDF, 0x2A, 0x31, 0xB5, 0x56, 0x93, 0x40};
    const bool accepted = ok && name == "RHAdobeMeshResource" && id1 == 0x96A804A6 && id2 == 0x3FB9 && id3 == 0x43C5 &&
                          std::equal(id4, id4 + 8, kId4) && vendorName == "Right Hemisphere Adobe Systems" &&
                          extensionInfo == "version 1.0";
    if (!accepted) {
        Logger::Log(LogLevel::Error, "Unsupported 'New Object' block type!");
        return false;
    }
    meshPool_.supportedExtensions.insert(declarationBlockType);
    return true;
}

bool NewObjectBlock::Read(BitStreamReader& reader) {
    if (meshPool_.supportedExtensions.count(Kind()) == 0) {
        Logger::LogF(LogLevel::Error, "NewObjectBlock::Read - unsupported ID {:d}", Kind());
        return false;
    }
    auto data = std::make_shared<RHCMeshData>();
    data->blockKind = BlockType::NewObjectType;
    reader.ReadString(data->meshName);
    data->chainIndex = reader.ReadU32();
    const uint64_t header = uint64_t(data->meshName.size()) + 6;
    if (reader.ByteSize() <= header) return false;
    // The payload is the rest of the block, bytes as they stand.
    const uint32_t payloadSize = std::min<uint32_t>(uint32_t(reader.ByteSize() - header), reader.BytesLeft());
    const uint8_t* payload = reader.CurrentBytePointer();
    if (!payload || payloadSize == 0) return false;
    std::shared_ptr<AuthorMesh> mesh = AuthorMesh::Create(data);
    if (!mesh) return false;
    std::shared_ptr<ShadingGroup> shading = shaderPool_.FindShadingModifier(data->meshName);
    if (!shading)
        Logger::Log(LogLevel::Warning, "NewObjectBlock: '%s' - no valid shading modifier found!",
                    data->meshName.c_str());
    auto* continuation = mesh->ContinuationAs<RHCMeshContinuationData>();
    if (!continuation) return false;
    RHReader rh(payload, payloadSize, shading);
    if (!rh.Read(*data, *continuation)) return false;
    return meshPool_.AddMesh(mesh);
}

}  // namespace Velmora::U3D
