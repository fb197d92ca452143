#pragma once
// Blocks of the file level: the header, modifier chains (whose nested blocks are handed
// back to the block walk) and the new object extension (its declaration and its blocks).

#include <cstdint>
#include <string>

#include "u3d/BlockBase.h"
#include "u3d/U3DFile.h"

namespace Velmora::U3D {

class AuthorMeshPool;
class AuthorShaderPool;

class FileHeader : public BlockBase {
public:
    FileHeader() : BlockBase(BlockType::FileHeader) {}
    // Always true: no header value refuses a file.
    bool Read(BitStreamReader& reader) override;

    int16_t versionA = 0;
    int16_t versionB = 0;
    uint32_t profile = 0;  // 0x2 extensible, 0x4 no compression, 0x8 defined units
    uint32_t declarationSize = 0;
    uint64_t fileSize = 0;
    uint32_t encoding = 0;
    double scaleFactor = 1.0;
};

// Reads the chain's fields and copies its nested blocks (raw, out of the block's data) into
// the chain list; the block walk then reads them in place.
class ModifierChain : public BlockBase {
public:
    explicit ModifierChain(RawDataBlockList* chainBlocks)
        : BlockBase(BlockType::ModifierChain), chainBlocks_(chainBlocks) {}
    bool Read(BitStreamReader& reader) override;

private:
    RawDataBlockList* chainBlocks_;
};

// Declares an extension block type; only the RH compressed mesh extension is accepted.
class NewObjectType : public BlockBase {
public:
    explicit NewObjectType(AuthorMeshPool& meshPool) : BlockBase(BlockType::NewObjectType), meshPool_(meshPool) {}
    bool Read(BitStreamReader& reader) override;

private:
    AuthorMeshPool& meshPool_;
};

// A block of a declared extension type. Its id is its table key (256 for the whole
// extension range), so it is accepted only when the file declared exactly 256.
class NewObjectBlock : public BlockBase {
public:
    NewObjectBlock(AuthorMeshPool& meshPool, AuthorShaderPool& shaderPool)
        : BlockBase(BlockType::NewObject), meshPool_(meshPool), shaderPool_(shaderPool) {}
    bool Read(BitStreamReader& reader) override;

private:
    AuthorMeshPool& meshPool_;
    AuthorShaderPool& shaderPool_;
};

}  // namespace Velmora::U3D
