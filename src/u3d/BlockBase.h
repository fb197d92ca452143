#pragma once
// Base of every block reader. A block object lives for the read of one block only; what it
// produces goes into the pools it was given at construction.

#include <cstdint>

namespace Velmora::U3D {

class BitStreamReader;

// Keys of the block table (the file's block type for the fixed types, 256 for every type
// of the extension range 256..0xFFFFFF).
namespace BlockType {
inline constexpr uint32_t Unknown = 0;
inline constexpr uint32_t NewObject = 256;
inline constexpr uint32_t FileHeader = 0x00443355;
inline constexpr uint32_t FileReference = 0xFFFFFF12;
inline constexpr uint32_t ModifierChain = 0xFFFFFF14;
inline constexpr uint32_t PriorityUpdate = 0xFFFFFF15;
inline constexpr uint32_t NewObjectType = 0xFFFFFF16;
inline constexpr uint32_t GroupNode = 0xFFFFFF21;
inline constexpr uint32_t ModelNode = 0xFFFFFF22;
inline constexpr uint32_t LightNode = 0xFFFFFF23;
inline constexpr uint32_t ViewNode = 0xFFFFFF24;
inline constexpr uint32_t CLODMeshDeclaration = 0xFFFFFF31;
inline constexpr uint32_t PointSetDeclaration = 0xFFFFFF36;
inline constexpr uint32_t LineSetDeclaration = 0xFFFFFF37;
inline constexpr uint32_t CLODBaseMeshContinuation = 0xFFFFFF3B;
inline constexpr uint32_t CLODProgressiveMeshContinuation = 0xFFFFFF3C;
inline constexpr uint32_t PointSetContinuation = 0xFFFFFF3E;
inline constexpr uint32_t LineSetContinuation = 0xFFFFFF3F;
inline constexpr uint32_t Glyph2DModifier = 0xFFFFFF41;
inline constexpr uint32_t SubdivisionModifier = 0xFFFFFF42;
inline constexpr uint32_t AnimationModifier = 0xFFFFFF43;
inline constexpr uint32_t BoneWeightModifier = 0xFFFFFF44;
inline constexpr uint32_t ShadingModifier = 0xFFFFFF45;
inline constexpr uint32_t CLODModifier = 0xFFFFFF46;
inline constexpr uint32_t LightResource = 0xFFFFFF51;
inline constexpr uint32_t ViewResource = 0xFFFFFF52;
inline constexpr uint32_t LitTextureShader = 0xFFFFFF53;
inline constexpr uint32_t MaterialResource = 0xFFFFFF54;
inline constexpr uint32_t TextureDeclaration = 0xFFFFFF55;
inline constexpr uint32_t MotionResource = 0xFFFFFF56;
inline constexpr uint32_t TextureContinuation = 0xFFFFFF5C;
}  // namespace BlockType

class BlockBase {
public:
    explicit BlockBase(uint32_t kind) : kind_(kind) {}
    virtual ~BlockBase() = default;
    BlockBase(const BlockBase&) = delete;
    BlockBase& operator=(const BlockBase&) = delete;

    // Reads the block's payload; false when the block is to be counted as failed.
    virtual bool Read(BitStreamReader& reader) = 0;

    uint32_t Kind() const { return kind_; }

private:
    uint32_t kind_;
};

}  // namespace Velmora::U3D
