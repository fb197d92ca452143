#pragma once
// Reader of the RH compressed mesh payload (the "RHAdobeMeshResource" extension): a byte
// stream, separate from the U3D bit stream, holding the mesh's counts, one index array per
// attribute and the attribute arrays, each in one of several integer or float encodings.
//
// Payload layout:
//   mesh info   with two or more shading groups: a byte n and n group records (flags byte,
//               two sized values: the group's face count and a reserved value, then padding);
//               then a byte m whose bits 6-7 give a width and whose bits 0-5 say which of
//               face, position, normal, diffuse, specular and tex coord count follow.
//   indices     3 per face for position, then normal, diffuse, specular and tex coord, each
//               present attribute an encoded integer array (ReadEncodedUIntArray).
//   attributes  positions and normals (ReadVec3Array), diffuse and specular colours
//               (ReadVec4Array), tex coords as u, v pairs (ReadFloatArray).
//
// Every read is checked against the payload's size; the first failure stops all further
// reads and fails the mesh. Counts are bounded by what the payload can code before anything
// is allocated from them.

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "u3d/AuthorMeshData.h"

namespace Velmora::U3D {

class RHCMeshData;
class RHCMeshContinuationData;
struct ShadingGroup;

class RHReader {
public:
    // Encodings of an integer array (low six bits of its head byte).
    enum Encoding : uint8_t {
        AllZero = 0,
        AllEqual = 1,
        Nibbles = 2,
        Plain1 = 3,  // .. Plain4 = 6: (encoding - Plain1) + 1 bytes a value
        Plain4 = 6,
        RH39 = 7,
        UIC1 = 10,
    };
    // Forms of a float or vector array (its format byte).
    enum FloatFormat : uint8_t { PlainFloats = 0, Quantised = 1, AlphaTheta = 2 };
    // Commands of the UIC1 integer format (low nibble of each byte).
    enum UIC1Command : uint8_t {
        Back = 0,
        Step = 1,
        Stop = 2,
        ThirdBackUp = 3,
        ThirdBackDown = 4,
        FarBack = 5,
        RepeatDifference = 6,
        ThirdBackFarUp = 7,
        ThirdBackFarDown = 8,
    };
    // Bits of the count byte of the mesh info, in count order.
    enum CountBit : uint8_t { Faces = 0, Positions, Normals, Diffuse, Specular, TexCoords, CountBits };

    RHReader(const uint8_t* data, uint32_t size, std::shared_ptr<ShadingGroup> shadingGroup)
        : shadingGroup_(std::move(shadingGroup)), data_(data), size_(size) {}

    // Reads the whole payload into the declaration (counts, shading descriptions) and the
    // continuation (arrays and faces). False (logged) on the first failure.
    bool Read(RHCMeshData& declaration, RHCMeshContinuationData& continuation);

    bool Failed() const { return failed_; }

    // The pieces, public for the tests of each encoding.
    uint8_t ReadU8();
    uint16_t ReadU16();
    uint32_t ReadU32();
    uint32_t ReadUx(uint32_t n);
    float ReadF32();
    bool ReadEncodedUIntArray(uint64_t count, std::vector<uint32_t>& out);
    bool ReadFloatArray(uint64_t count, std::vector<float>& out);
    bool ReadVec3Array(uint64_t count, std::vector<Vec3f>& out);
    bool ReadVec4Array(uint64_t count, std::vector<Vec4f>& out);

private:
    bool ReadMeshInfo(RHCMeshData& declaration, RHCMeshContinuationData& continuation);
    bool ReadGroupRecords(uint32_t faceLimit, std::vector<uint32_t>& groupFaces);
    bool ReadIndices(const RHCMeshData& declaration, RHCMeshContinuationData& continuation);
    bool ReadAttributes(const RHCMeshData& declaration, RHCMeshContinuationData& continuation);
    bool ReadUIC1UIntArray(std::vector<uint32_t>& array, uint32_t bodySize);
    bool ReadQuantCompressedFloatArray(uint64_t count, std::vector<float>& out);
    bool ReadQuantCompressedVec3Array(uint64_t count, std::vector<Vec3f>& out);
    bool ReadQuantCompressedAlphaThetaFloatArray(uint64_t count, std::vector<Vec3f>& out);
    bool Fail(const char* message);
    uint32_t Remaining() const { return failed_ || cursor_ >= size_ ? 0 : size_ - cursor_; }

    static constexpr uint32_t kHistory = 32;

    std::shared_ptr<ShadingGroup> shadingGroup_;
    const uint8_t* data_;
    uint32_t size_;
    uint32_t cursor_ = 0;
    bool failed_ = false;
    std::array<uint32_t, kHistory> values_{};
    std::array<uint32_t, kHistory> differences_{};
    uint32_t valuePosition_ = 0;
    uint32_t differencePosition_ = 0;
    uint32_t indexRange_ = 0;
    uint32_t groupCount_ = 1;
};

}  // namespace Velmora::U3D
