#pragma once
// The one object through which all PRC data is written: a growable bit buffer (the writing
// chunk), the format's primitives, the Huffman-coded arrays, the zlib sections and the
// assembly of one file structure with its model file section into a whole file.
//
// Every write mirrors a read of BitstreamReader, so that what is written here reads back with
// identical values. The writer returns false at the first fault, after a logged message, and
// a caller never uses a partial result.

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "prc/reader/ContainerTypes.h"
#include "prc/reader/filestructure/Sections.h"

namespace Velmora::PRC {

// A finished block of bytes.
struct DataChunk {
    std::vector<uint8_t> bytes;
    uint32_t Size() const { return static_cast<uint32_t>(bytes.size()); }
};

// The writing chunk: bytes so far, and the bit offset (0 to 7) in the last, open byte.
struct DynamicChunk {
    std::vector<uint8_t> bytes;
    uint32_t bitOffset = 0;
};

// One leaf of a Huffman code: the value, its code and the code's length in bits.
struct HuffmanLeaf {
    uint32_t value = 0;
    uint32_t numberOfBits = 0;
    uint32_t code = 0;
};

// The code of every distinct value of an array, by value.
struct HuffmanTree {
    std::map<uint32_t, HuffmanLeaf> leaves;
    uint32_t largestCode = 0;
    uint32_t largestNumberOfBits = 0;
};

// Bits packed into 32-bit words from bit 0 upward, as the Huffman decoder unpacks them.
struct HuffmanArray {
    std::vector<uint32_t> words;
    uint32_t bitsInLastWord = 0;  // 1 to 32
};

class BitstreamWriter {
public:
    // Sections of a file structure, each its own compressed chunk but the header.
    static constexpr uint32_t kSectionCount = 6;
    static constexpr uint32_t kMinVersion = 8137;
    static constexpr uint32_t kAuthoringVersion = 8137;

    // The block and model file section to write; both must outlive the writer's use.
    bool Create(const FileStructureBlock* block, const FileStructure::ModelFileSection* modelFile);

    // --- the writing chunk ---
    bool CreateNewWritingChunk();
    bool GetDataChunkFromWritingChunk(DataChunk& chunk);
    bool HasWritingChunk() const { return chunkOpen_; }

    // --- primitives ---
    void WriteBit(bool bit);
    void WriteBits(uint32_t value, uint32_t n);  // most significant first
    void WriteByte(uint8_t value);
    void WriteU32(uint32_t value);
    void WriteUnsignedInteger(uint32_t value);
    void WriteInteger(int32_t value);
    bool WriteUnsignedIntegerWithVariableBitNumber(uint32_t value, uint32_t n);
    bool WriteIntegerWithVariableBitNumber(int32_t value, uint32_t n);
    bool WriteBitNumberThenUnsignedInteger(uint32_t value);
    void WriteFloat(float value);
    bool WriteCompressedDouble(double value);
    bool WriteDouble(double value) { return WriteCompressedDouble(value); }
    bool WriteVector3(const FileStructure::Vec3f& value);
    void WriteString(const std::string& text);
    void WriteName(const std::string& name);
    void WriteUniqueID(const FileStructure::UniqueID& id);
    void WriteUserData(const FileStructure::UserData& record);

    // --- arrays ---
    static bool CalculateHuffmanTree(const std::vector<uint32_t>& values, uint32_t bits, HuffmanTree& tree);
    static bool CreateHuffmanArray(const std::vector<uint32_t>& values, uint32_t bits, HuffmanArray& array);
    bool WriteCharacterArray(const std::vector<uint8_t>& array, uint32_t bits);
    bool WriteCharacterArrayCompressed(const std::vector<uint8_t>& array, uint32_t bits);
    void WriteCharacterArrayUncompressed(const std::vector<uint8_t>& array);
    bool WriteShortArray(const std::vector<uint16_t>& array, uint32_t bits);
    bool WriteCompressedIntegerArray(const std::vector<int32_t>& array);
    // The six-bit differences of bit counts that a running index array is stored with.
    static bool CalculateIndexBitCounts(const std::vector<int32_t>& array, std::vector<uint8_t>& differences,
                                        std::vector<uint8_t>& bitCounts);
    bool WriteCompressedIndicesArray(const std::vector<int32_t>& array);
    bool WriteCompressedIndicesValues(const std::vector<int32_t>& array, const std::vector<uint8_t>& bitCounts);

    // --- entities ---
    void WriteContentPRCBase(const FileStructure::ContentPRCBase& base, bool writeType);
    void WriteGraphics(const FileStructure::Graphics& graphics);
    bool WriteTransformations(const FileStructure::TransformationBase& transformation);
    bool WriteTexture(const FileStructure::TextureDefinition& texture);
    bool WriteMaterial(const FileStructure::Material& material);
    bool WriteLineStyle(const FileStructure::LineStyle& style);
    bool WriteLinePattern(const FileStructure::LinePattern& pattern);
    bool WritePicture(const FileStructure::Picture& picture);
    void WriteEmptyMarkup();
    bool WriteRepresentationItem(const FileStructure::RepresentationItem& item);
    bool WritePartDefinition(const FileStructure::PartDefinition& part);
    bool WriteProductOccurrence(const FileStructure::ProductOccurrence& occurrence);
    bool WriteVertexColors(const FileStructure::VertexColours& colours, bool isOptimized);
    bool WriteBaseTessData(const FileStructure::BaseTessData& tess);
    bool WriteContent3DTess(const FileStructure::Content3DTess& tess);
    bool WriteFaceTess(const FileStructure::FaceTessData& face);
    bool WriteHighlyCompressed3DTess(const FileStructure::HighlyCompressed3DTess& tess);
    bool WriteCompressedTextureParameter(const FileStructure::CompressedTextureParameter& texture);

    // --- sections ---
    bool WriteGlobalsSection(const FileStructure::GlobalsSection& globals);
    bool WriteTreeSection(const FileStructure::TreeSection& tree);
    bool WriteTessellationSection(const FileStructure::TessellationSection& section);
    bool WriteGeometrySection(const FileStructure::GeometrySection& section, uint32_t type);
    bool WriteModelFileSection(const FileStructure::ModelFileSection& modelFile);

    // --- container ---
    static bool Compress(const DataChunk& input, DataChunk& output);
    bool CreateFileStructureBlock(std::vector<DataChunk>& chunks);
    bool CompressData(std::vector<DataChunk>& chunks);
    bool WriteToFile(const std::string& path);
    bool WriteToMemory(DataChunk& chunkOut);

    // The whole writing chunk as it stands, for tests of the primitives.
    const DynamicChunk& CurrentChunk() const { return chunk_; }

private:
    bool WriteHighlyCompressedTopology(const FileStructure::HighlyCompressed3DTess& tess, uint32_t faces);
    bool WriteHighlyCompressedNormals(const FileStructure::HighlyCompressed3DTess& tess, uint32_t faces);
    bool WriteHighlyCompressedAttributes(const FileStructure::HighlyCompressed3DTess& tess, uint32_t faces);
    void WriteBitFlags(const std::vector<uint8_t>& flags);
    void WriteDoubleArray(const std::vector<double>& values);
    void WriteUnsignedArray(const std::vector<uint32_t>& values);
    bool WriteSectionChunk(uint32_t section, DataChunk& chunk);
    // The magic, the versions, the structure's UUID and the application UUID.
    void WriteSignature(const FileStructure::UniqueID& structure);
    bool WriteHeaderChunk(DataChunk& chunk) const;
    static bool WriteBytesToFile(std::FILE* file, const DataChunk& chunk);

    const FileStructureBlock* block_ = nullptr;
    const FileStructure::ModelFileSection* modelFile_ = nullptr;
    DynamicChunk chunk_;
    bool chunkOpen_ = false;
};

}  // namespace Velmora::PRC
