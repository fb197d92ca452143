#pragma once
// The one object through which all PRC data is read: a byte cursor with a bit offset over a
// block of bytes, the format's primitives, and (as further members, in their own files) the
// readers of the container, the schemas and the file structure entities.
//
// Reading is tolerant: a primitive that runs off the end logs and yields zero bits, and the
// callers learn of trouble from a false, an empty array or a later mismatch. Memory outside
// the data is never touched. Every count taken from the stream is compared with the bits that
// are left before it sizes anything, so that a hostile count fails the entity instead of
// allocating or looping.

#include <bit>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "prc/reader/ContainerTypes.h"
#include "prc/reader/filestructure/Sections.h"
#include "util/SimpleFile.h"

namespace Velmora::FormatGlue {
class AuthoringProgress;
}

namespace Velmora::PRC {

struct HuffmanNode {
    std::shared_ptr<HuffmanNode> left;
    std::shared_ptr<HuffmanNode> right;
    uint32_t reserved0 = 0;
    uint32_t reserved1 = 0;
    uint32_t numberOfBits = 0;
    uint32_t code = 0;
    uint32_t value = 0;
};

// Result of looking up and running the schema of an entity type.
enum class SchemaResult { NoSchema, Passed, Failed };

class BitstreamReader {
public:
    using ByteHolder = Utility::DataHolder<uint8_t>;

    static constexpr uint32_t kSchemaReaderVersion = 10001;
    // The first file version whose views and scene display parameters carry further flags.
    static constexpr uint32_t kVersionWithViewFlags = 7094;
    // Largest inflated section; a stream that inflates past it is refused. The stream is
    // packed bits already, so real sections inflate a few times at most; a section may grow to
    // kMaxInflationRatio times its compressed size plus kInflationAllowance, which keeps what
    // a hostile file can make the readers allocate in proportion to the file.
    static constexpr uint32_t kMaxInflatedSize = 256u << 20;
    static constexpr uint32_t kMaxInflationRatio = 64;
    static constexpr uint32_t kInflationAllowance = 1u << 20;
    // Deepest nesting of sets of representation items and annotation sets.
    static constexpr uint32_t kMaxNestingDepth = 32;

    explicit BitstreamReader(FormatGlue::AuthoringProgress* progress = nullptr, float progressSpan = 0.0f,
                             int32_t progressTotal = 0);

    // Inner readers: the holder's bytes, kept alive by the reader. False for a null holder.
    bool SetData(std::shared_ptr<ByteHolder> holder);
    // The outer reader: bytes owned by the caller.
    void SetRange(const uint8_t* begin, uint32_t size);

    // --- state ---
    uint32_t Version() const { return version_; }
    void SetVersion(uint32_t version) { version_ = version; }
    uint32_t SchemaReaderVersion() const { return kSchemaReaderVersion; }
    size_t Position() const { return pos_; }
    uint32_t BitOffset() const { return bitOffset_; }
    uint32_t Size() const { return size_; }
    const uint8_t* Begin() const { return data_; }
    // Bits between the cursor and the end; 0 once the cursor has run past it.
    uint64_t RemainingBits() const {
        const uint64_t total = uint64_t{size_} * 8;
        const uint64_t used = uint64_t{pos_} * 8 + bitOffset_;
        return used >= total ? 0 : total - used;
    }
    // True when count items of at least bitsEach bits each can still be in the data; logs
    // and gives false otherwise, so that the caller fails before it allocates.
    bool CountFits(uint64_t count, uint32_t bitsEach, const char* what);
    void ResetNameAndGraphics();
    void SetProgress(FormatGlue::AuthoringProgress* progress, float span, int32_t total);
    void MarkProgressPosition() { progressPosition_ = pos_; }
    void ReportProgress();

    // --- primitives ---
    void AdvanceByte();
    uint32_t ReadBit() {
        const uint32_t bit = pos_ < size_ ? (data_[pos_] >> (7 - bitOffset_)) & 1u : 0u;
        if (++bitOffset_ == 8) AdvanceByte();
        return bit;
    }
    uint8_t ReadByte() {
        if (HasFastWindow()) {
            const auto value = static_cast<uint8_t>(PeekWord() >> (kWordBits - kByteBits));
            SkipBits(kByteBits);
            return value;
        }
        return ReadByteSlow();
    }
    uint32_t ReadBits(uint32_t n);
    uint32_t ReadU32();
    uint32_t ReadUnsignedInteger();
    int32_t ReadInteger();
    uint32_t ReadUnsignedIntegerWithVariableBitNumber(uint32_t n);
    int32_t ReadIntegerWithVariableBitNumber(uint32_t n);
    uint32_t ReadBitNumberThenUnsignedInteger();
    float ReadFloat();
    bool ReadFloatAsIntArray(std::vector<float>& array, uint32_t count);
    double ReadDouble();
    FileStructure::Vec3f ReadVector3();
    std::string ReadString();
    std::string ReadName();
    bool ReadUniqueID(FileStructure::UniqueID& id);
    bool ReadUserData(FileStructure::UserData& record);
    const std::string& CurrentName() const { return currentName_; }

    // --- arrays (an output must be empty on entry) ---
    bool ReadCharacterArray(std::vector<uint8_t>& array, uint32_t bits);
    bool ReadCharacterArrayCompressed(std::vector<uint8_t>& array, uint32_t bits);
    bool ReadCharacterArrayUncompressed(std::vector<uint8_t>& array);
    bool ReadShortArray(std::vector<uint16_t>& array, uint32_t bits);
    bool ReadCompressedIntegerArray(std::vector<int32_t>& array);
    bool ReadCompressedIndicesArrayWithCharArray(std::vector<int32_t>& array, std::vector<uint8_t>& bitCounts);
    static bool DecodeHuffman(std::vector<uint16_t>& array, uint32_t bits, const std::vector<uint32_t>& words,
                              uint32_t bitsInLastWord);
    static bool DecodeHuffmanU8(std::vector<uint8_t>& array, uint32_t bits, const std::vector<uint32_t>& words,
                                uint32_t bitsInLastWord);

    // --- container (PRCFile) ---
    bool ReadCommonHeader(CommonHeader& header);
    bool ReadUncompressedFileBlocks(UncompressedFileList& list);
    static bool DecompressBlock(const uint8_t* input, uint32_t inputSize, std::shared_ptr<ByteHolder>& output,
                                uint32_t& consumed);
    uint32_t SetReaderWithDecompressedData(const FileStructureBlock* block, uint32_t section, BitstreamReader& inner);
    bool ReadFileStructureBlock(FileStructureBlock& block);
    bool ReadModelFileSection(FileStructure::ModelFileSection& modelFile, uint32_t modelFileOffset,
                              uint32_t fileEndOffset, uint32_t numberOfFileStructures);

    // --- sections ---
    bool ReadFileStructureGlobalsDecompressed(FileStructure::GlobalsSection& globals);
    bool ReadFileStructureTreeDecompressed(FileStructure::TreeSection& tree);
    bool ReadFileStructureTessellationDecompressed(FileStructure::TessellationSection& section);
    bool ReadFileStructureGeometryDecompressed(FileStructure::GeometrySection& section);
    bool ReadFileStructureExtraGeometryDecompressed(FileStructure::GeometrySection& section);
    bool ReadModelFileSectionDecompressed(FileStructure::ModelFileSection& modelFile, uint32_t numberOfFileStructures);

    // --- schemas ---
    bool ReadSchema(FileStructure::SchemaMap& schemas);
    SchemaResult RunSchema(uint32_t type);
    // The globals whose schemas the entity readers use; set while a globals section is read.
    static FileStructure::GlobalsSection* CurrentGlobals();
    static void SetCurrentGlobals(FileStructure::GlobalsSection* globals);

    // --- entities ---
    bool ReadContentPRCBase(FileStructure::ContentPRCBase& base, bool readType);
    bool ReadAttributes(std::vector<FileStructure::Attribute>& attributes);
    bool ReadGraphics(FileStructure::Graphics& graphics);
    std::shared_ptr<FileStructure::TextureDefinition> ReadTextureDefinition();
    std::shared_ptr<FileStructure::Material> ReadMaterialDefinition();
    bool ReadLineStyleDefinition(FileStructure::LineStyle& style);
    std::shared_ptr<FileStructure::FillPattern> ReadFillPatternDefition();
    std::shared_ptr<FileStructure::PartDefinition> ReadPartDefinition();
    std::shared_ptr<FileStructure::ProductOccurrence> ReadProductOccurrence();
    std::shared_ptr<FileStructure::Filter> ReadFilter();
    std::shared_ptr<FileStructure::RepresentationItem> ReadRepresentationItemDefinition(uint32_t depth = 0);
    std::shared_ptr<FileStructure::TransformationBase> ReadTransformation();
    bool ReadCartesianTransformation3DFields(FileStructure::CartesianTransformation3D& transformation);
    bool ReadCartesianTransformation2DFields(FileStructure::CartesianTransformation2D& transformation);
    bool ReadMarkupDefinitions(FileStructure::MarkupDefinitions& markup);
    std::shared_ptr<FileStructure::EntityReference> ReadEntityReference(bool linkedItem);
    std::shared_ptr<FileStructure::ReferenceData> ReadReferenceData();
    std::shared_ptr<FileStructure::MarkupLeader> ReadMarkupLeader();
    std::shared_ptr<FileStructure::MarkupEntity> ReadMarkup();
    std::shared_ptr<FileStructure::AnnotationEntity> ReadAnnotationEntity(uint32_t depth = 0);
    std::shared_ptr<FileStructure::View> ReadView();
    std::shared_ptr<FileStructure::SceneDisplayParameters> ReadSceneDisplayParameters();
    std::shared_ptr<FileStructure::Light> ReadLight();
    std::shared_ptr<FileStructure::Camera> ReadCamera();
    bool ReadPlaneSurface(FileStructure::PlaneSurface& plane);

    // --- tessellation ---
    std::shared_ptr<FileStructure::BaseTessData> ReadTessellation();
    bool ReadContent3DTess(FileStructure::Content3DTess& tess);
    bool ReadFaceTess(FileStructure::FaceTessData& face);
    bool ReadVertexColors(FileStructure::VertexColours& colours, uint32_t count);
    bool ReadContent3DWireTess(FileStructure::Content3DWireTess& tess);
    bool ReadContentTessMarkup(FileStructure::ContentMarkupTess& tess);
    bool ReadHighlyCompressed3DTess(FileStructure::HighlyCompressed3DTess& tess);
    bool ReadCompressedIndicesArray(std::vector<int32_t>& array);
    bool ReadCompressedTextureParameter(FileStructure::CompressedTextureParameter& texture);
    bool ReadBinaryTextureData(FileStructure::CompressedTextureParameter& texture);
    bool ConvertRawCoordinatesToVertices(FileStructure::BaseTessData& tess);

private:
    static constexpr uint32_t kWordBits = 64;
    static constexpr uint32_t kByteBits = 8;
    static constexpr size_t kFastWindowBytes = 8;

    // Bulk data is read through a 64-bit window while the cursor is at least eight bytes from
    // the end; near the end every read goes bit by bit, so that running off the end logs as
    // it should.
    bool HasFastWindow() const { return pos_ + kFastWindowBytes <= size_; }
    uint64_t PeekWord() const {
        uint64_t word;
        std::memcpy(&word, data_ + pos_, sizeof(word));
        if constexpr (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
        return word << bitOffset_;
    }
    void SkipBits(uint32_t n) {
        const uint32_t bits = bitOffset_ + n;
        pos_ += bits / kByteBits;
        bitOffset_ = bits % kByteBits;
    }
    uint8_t ReadByteSlow();
    bool ReadAttributeTitle(FileStructure::AttributeTitle& title);
    bool ReadSchemaTail(uint32_t type);
    bool ReadRawCoordinates(FileStructure::BaseTessData& tess);
    bool ReadUnsignedArray(std::vector<uint32_t>& values, const char* what);
    bool ReadDoubleArray(std::vector<double>& values, const char* what);
    bool ParseWires(FileStructure::Content3DWireTess& tess, const std::vector<int32_t>& array);
    // count single bits, one byte each; ones, when given, counts the set ones.
    bool ReadBitFlags(std::vector<uint8_t>& flags, uint64_t count, uint32_t* ones);
    bool ReadHighlyCompressedTopology(FileStructure::HighlyCompressed3DTess& tess);
    bool ReadHighlyCompressedNormals(FileStructure::HighlyCompressed3DTess& tess);
    bool ReadHighlyCompressedAttributes(FileStructure::HighlyCompressed3DTess& tess);
    bool ReadSection(const FileStructureBlock& block, uint32_t section, FileStructureBlock& target);

    FormatGlue::AuthoringProgress* progress_ = nullptr;
    float progressSpan_ = 0.0f;
    int32_t progressTotal_ = 0;
    size_t progressPosition_ = 0;
    uint32_t version_ = 0;
    const uint8_t* data_ = nullptr;
    uint32_t size_ = 0;
    size_t pos_ = 0;
    uint32_t bitOffset_ = 0;
    std::string currentName_;
    int32_t currentLayerIndex_ = -1;
    int32_t currentLineStyleIndex_ = -1;
    uint16_t currentBehaviourBits_ = 1;
    uint32_t currentReferenceType_ = 0;
    std::shared_ptr<ByteHolder> holder_;
};

}  // namespace Velmora::PRC
