#pragma once
// U3D writer for tests and tools: the arithmetic encoder of the U3D bit stream (static and dynamic
// contexts, escapes, histogram halving) and the block framing of the file container, so
// tests can build blocks value by value and check the decoder symbol for symbol.
//
// The encoder keeps its own plain histograms rather than reusing the library's
// ContextManager, so that a fault in the decoder's quarter table cannot hide behind the same
// fault in the writer.

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace U3DWriter {

class BitStreamWriter {
public:
    // With noCompression every compressed write is a plain write, as the reader does it.
    explicit BitStreamWriter(bool noCompression = false) : noCompression_(noCompression) {}

    void WriteU8(uint8_t value);
    void WriteU16(uint16_t value);
    void WriteI16(int16_t value) { WriteU16(static_cast<uint16_t>(value)); }
    void WriteU32(uint32_t value);
    void WriteU64(uint64_t value);
    void WriteF32(float value);
    void WriteF64(double value);
    void WriteString(std::string_view text);
    // Raw bytes as plain U8 values.
    void WriteBytes(const void* data, size_t size);

    // Context rules as in the reader: 0 and 17407+ plain (U8/U32), 1..1024 dynamic with
    // escapes, 1025..17406 static uniform over (context - 1024) symbols. A value that a
    // static context cannot hold marks the writer as failed (see Failed()).
    void WriteCompressedU8(uint32_t context, uint8_t value);
    void WriteCompressedU16(uint32_t context, uint16_t value);
    void WriteCompressedU32(uint32_t context, uint32_t value);

    // Flushes the coder (only when it is not at rest) and returns the block data; the
    // writer can't be used afterwards.
    std::vector<uint8_t> Finish();

    bool Failed() const { return failed_; }
    size_t BitCount() const { return bitCount_; }
    bool AtRest() const { return high_ == 0xFFFF && low_ == 0 && underflow_ == 0; }

private:
    struct Histogram {
        std::vector<uint32_t> frequencies{1};  // escape starts with count 1
        uint32_t total = 1;
    };
    void EmitBit(uint32_t bit);
    void EncodeRange(uint32_t cumulative, uint32_t frequency, uint32_t total);
    void EncodeStatic(uint32_t context, uint32_t value);
    // Encodes value on a dynamic context; returns true when it went out as an escape and the
    // caller must write the plain form.
    bool EncodeDynamic(uint32_t context, uint64_t value);
    void Learn(Histogram& histogram, uint64_t symbol);

    bool noCompression_;
    bool failed_ = false;
    std::vector<uint8_t> bytes_;
    size_t bitCount_ = 0;
    uint32_t high_ = 0xFFFF;
    uint32_t low_ = 0;
    uint32_t underflow_ = 0;
    std::map<uint32_t, Histogram> histograms_;
};

// Pads n up to a multiple of 4.
inline uint32_t Pad4(uint32_t n) { return (n + 3u) & ~3u; }

// One block in file form: type, data size, meta size, data, padding, meta, padding.
std::vector<uint8_t> FrameBlock(uint32_t type, const std::vector<uint8_t>& data, const std::vector<uint8_t>& meta = {});

// Payload of a file header block (always plain: the header is read before any profile).
std::vector<uint8_t> FileHeaderData(uint32_t profile = 0, uint32_t encoding = 106, double scaleFactor = 1.0,
                                    int16_t versionA = 0, int16_t versionB = 0);

class U3DFileWriter {
public:
    // Starts with a file header block of the given profile.
    explicit U3DFileWriter(uint32_t profile = 0) { AddBlock(0x00443355, FileHeaderData(profile)); }
    // A file without the header, for tests of broken files.
    static U3DFileWriter Headless() { return U3DFileWriter(HeadlessTag{}); }

    void AddBlock(uint32_t type, const std::vector<uint8_t>& data, const std::vector<uint8_t>& meta = {});
    void AddBlock(uint32_t type, BitStreamWriter& writer) { AddBlock(type, writer.Finish()); }
    void AddRaw(const std::vector<uint8_t>& bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }

    const std::vector<uint8_t>& Bytes() const { return bytes_; }
    bool WriteTo(const std::string& path) const;

private:
    struct HeadlessTag {};
    explicit U3DFileWriter(HeadlessTag) {}
    std::vector<uint8_t> bytes_;
};

// Block payload builders for the common blocks, written in their plain form.
struct ParentEntry {
    std::string name;
    float transform[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};
std::vector<uint8_t> GroupNodeBlock(const std::string& name, const std::vector<ParentEntry>& parents);
std::vector<uint8_t> ModelNodeBlock(const std::string& name, const std::vector<ParentEntry>& parents,
                                    const std::string& resource, uint32_t visibility = 3);
std::vector<uint8_t> LightNodeBlock(const std::string& name, const std::vector<ParentEntry>& parents,
                                    const std::string& resource);

// ---- point and line sets ---------------------------------------------------------------
// Declaration (plain form) and continuation blocks of point sets (line = false) and line
// sets, value by value. Shading descriptions have no tex coord layers; updates carry no normals.
struct SetDeclaration {
    std::string name = "set";
    uint32_t primitives = 4, positions = 4, normals = 0, diffuse = 0;
    uint32_t shadingAttributes = 0;
    uint32_t shadingCount = 1;
    float inverseQuant = 0.25f;  // for every attribute
};
std::vector<uint8_t> SetDeclarationBlock(const SetDeclaration& declaration);

// One resolution update: the split position, the position difference, and `primitives`
// points or lines alike, each with a fresh diffuse colour per end or (flag 2) the last one.
struct SetUpdate {
    uint32_t split = 0;
    std::array<uint32_t, 3> delta{};  // quantised, signs in `sign`
    uint8_t sign = 0;
    uint32_t shadingId = 0;
    uint32_t primitives = 1;
    uint32_t first = 0;  // a line's first end
    uint8_t diffuseFlag = 0;
    std::array<uint32_t, 4> color{4, 0, 0, 4};
};

class SetBlockWriter {
public:
    SetBlockWriter(const std::string& name, uint32_t start, uint32_t end, bool line, bool diffuse,
                   bool noCompression = false);
    // Update number r (the index its new position gets).
    void Add(uint32_t r, const SetUpdate& update);
    std::vector<uint8_t> Finish() { return writer_.Finish(); }

private:
    BitStreamWriter writer_;
    bool line_, diffuse_;
};

// ---- RH compressed mesh payloads (the "RHAdobeMeshResource" extension) -----------------
// Every field is written as told, value by value, so that tests can build each encoding and
// each broken form on purpose. See u3d/RHReader.h for the layout.
class RHWriter {
public:
    void WriteU8(uint8_t value) { bytes_.push_back(value); }
    void WriteU32(uint32_t value) { WriteUx(value, 3); }
    // value in n + 1 bytes, little-endian.
    void WriteUx(uint32_t value, uint32_t n);
    void WriteF32(float value);

    // Smallest n for which WriteUx(value, n) holds the value.
    static uint32_t WidthOf(uint32_t value);

    // One group record of a mesh of several shading groups: flags with the widths of its two
    // values, the values, then the padding the reader skips. `hints` goes into bits 6 and 7.
    void WriteGroupRecord(uint32_t faces, uint32_t reserved, uint8_t hints = 0);
    // The count byte and the counts present (non-zero), all of one width.
    void WriteCounts(uint32_t faces, uint32_t positions, uint32_t normals, uint32_t diffuse, uint32_t specular,
                     uint32_t texCoords);

    // An integer array: head byte (encoding, width of the body size), body size, body.
    void WriteEncoded(uint8_t encoding, const std::vector<uint8_t>& body);
    // Bodies of the plain encodings.
    static std::vector<uint8_t> AllEqualBody(uint32_t value);
    static std::vector<uint8_t> NibbleBody(const std::vector<uint32_t>& values);
    static std::vector<uint8_t> PlainBody(const std::vector<uint32_t>& values, uint32_t bytesPerValue);
    // A UIC1 command byte: command in the low nibble, argument in the high one.
    static uint8_t UIC1(uint8_t command, uint8_t argument) { return uint8_t(command | (argument << 4)); }

    // Float arrays: format byte then the data.
    void WritePlainFloats(const std::vector<float>& values);
    void WriteQuantisedFloats(float lo, float hi, uint32_t quant, uint8_t encoding, const std::vector<uint8_t>& body);
    void WriteQuantisedVec3(const std::array<float, 3>& lo, const std::array<float, 3>& hi, uint32_t quant,
                            uint8_t encoding, const std::vector<uint8_t>& body);
    void WriteAlphaTheta(uint32_t quant, uint8_t encoding, const std::vector<uint8_t>& body);

    const std::vector<uint8_t>& Bytes() const { return bytes_; }

private:
    std::vector<uint8_t> bytes_;
};

// Block payloads of the extension: its declaration (0xFFFFFF16, plain form) with the
// identity the reader accepts, and one mesh block of the declared type.
std::vector<uint8_t> RHDeclarationBlock(uint32_t declarationBlockType = 256);
std::vector<uint8_t> RHMeshBlock(const std::string& name, const std::vector<uint8_t>& payload);

}  // namespace U3DWriter
