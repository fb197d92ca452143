// The container layer: file and file structure headers, uncompressed files, and the inflation
// of each compressed section into an inner reader.

#include <algorithm>
#include <cstring>
#include <list>
#include <memory>
#include <new>
#include <vector>

#include <zlib.h>

#include "prc/reader/BitstreamReader.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr char kMagic[] = {'P', 'R', 'C'};
constexpr uint32_t kMagicSize = 3;
constexpr uint32_t kU32Bits = 32;
constexpr uint32_t kInflateChunk = 0x40000;
constexpr int kZlibWindowBits = 15;

bool InflateFailure(int result) {
    switch (result) {
        case Z_STREAM_ERROR: Logger::Log(LogLevel::Error, "BitstreamReader::DecompressBlock() - stream error"); break;
        case Z_NEED_DICT: Logger::Log(LogLevel::Error, "BitstreamReader::DecompressBlock() - need dict error"); break;
        case Z_DATA_ERROR: Logger::Log(LogLevel::Error, "BitstreamReader::DecompressBlock() - data error"); break;
        case Z_MEM_ERROR: Logger::Log(LogLevel::Error, "BitstreamReader::DecompressBlock() - memory error"); break;
        case Z_BUF_ERROR: Logger::Log(LogLevel::Error, "BitstreamReader::DecompressBlock() - buffer error"); break;
        default: break;
    }
    return false;
}

struct InflateStream {
    z_stream stream{};
    bool open = false;
    ~InflateStream() {
        if (open) inflateEnd(&stream);
    }
};

}  // namespace

bool BitstreamReader::ReadCommonHeader(CommonHeader& header) {
    char magic[kMagicSize];
    for (uint32_t i = 0; i < kMagicSize; ++i) {
        magic[i] = pos_ < size_ ? static_cast<char>(data_[pos_]) : '\0';
        ++pos_;
        if (pos_ >= size_) {
            Logger::Log(LogLevel::Error, "BitstreamReader::ReadCommonHeader - data overflow");
            return false;
        }
    }
    if (std::memcmp(magic, kMagic, kMagicSize) != 0) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadCommonHeader() - with invalid PRC data");
        return false;
    }
    header.minVersion = ReadU32();
    header.authoringVersion = ReadU32();
    if (!ReadUniqueID(header.fileStructureID) || !ReadUniqueID(header.applicationID)) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadCommonHeader() - with invalid UUID data");
        return false;
    }
    version_ = header.authoringVersion;
    ReportProgress();
    return true;
}

bool BitstreamReader::ReadUncompressedFileBlocks(UncompressedFileList& list) {
    const uint32_t numberOfFiles = ReadU32();
    if (!CountFits(numberOfFiles, kU32Bits, "uncompressed file")) return false;
    for (uint32_t i = 0; i < numberOfFiles; ++i) {
        const uint32_t size = ReadU32();
        if (pos_ >= size_ || size >= size_ - pos_) {
            Logger::Log(LogLevel::Error, "BitstreamReader::ReadUncompressedFileBlocks() - DATA OVERFLOW!");
            return false;
        }
        auto block = std::make_shared<UncompressedFileBlock>();
        block->data = data_ + pos_;
        block->size = size;
        list.push_back(std::move(block));
        pos_ += size;
        ReportProgress();
    }
    ReportProgress();
    return true;
}

bool BitstreamReader::DecompressBlock(const uint8_t* input, uint32_t inputSize, std::shared_ptr<ByteHolder>& output,
                                      uint32_t& consumed) {
    consumed = 0;
    output.reset();
    if (!input || inputSize == 0) return false;

    InflateStream zs;
    zs.stream.next_in = const_cast<Bytef*>(input);
    zs.stream.avail_in = inputSize;
    int result = inflateInit2(&zs.stream, kZlibWindowBits);
    if (result != Z_OK) return InflateFailure(result);
    zs.open = true;

    struct Chunk {
        std::unique_ptr<uint8_t[]> bytes;
        size_t size = 0;
    };
    std::list<Chunk> chunks;
    uint64_t total = 0;
    const uint64_t limit =
        std::min<uint64_t>(kMaxInflatedSize, uint64_t{inputSize} * kMaxInflationRatio + kInflationAllowance);
    do {
        if (total > limit) {
            Logger::Log(LogLevel::Error, "BitstreamReader::DecompressBlock() - inflated size exceeds the limit");
            return false;
        }
        Chunk chunk{std::unique_ptr<uint8_t[]>(new (std::nothrow) uint8_t[kInflateChunk]), 0};
        if (!chunk.bytes) {
            Logger::Log(LogLevel::Error, chunks.empty() ? "BitstreamReader::DecompressBlock() - OUT OF MEMORY!"
                                                        : "BitstreamReader::DecompressBlock() - OUT OF MEMORY[2]!");
            return false;
        }
        zs.stream.next_out = chunk.bytes.get();
        zs.stream.avail_out = kInflateChunk;
        while (zs.stream.avail_out > 0) {
            result = inflate(&zs.stream, Z_NO_FLUSH);
            if (result == Z_STREAM_END) break;
            if (result != Z_OK) return InflateFailure(result);
        }
        chunk.size = kInflateChunk - zs.stream.avail_out;
        total += chunk.size;
        chunks.push_back(std::move(chunk));
    } while (result != Z_STREAM_END);

    if (total > limit) {
        Logger::Log(LogLevel::Error, "BitstreamReader::DecompressBlock() - inflated size exceeds the limit");
        return false;
    }
    auto* bytes = new (std::nothrow) uint8_t[total ? total : 1];
    if (!bytes) {
        Logger::Log(LogLevel::Error, "BitstreamReader::DecompressBlock() - OUT OF MEMORY[3]!");
        return false;
    }
    size_t at = 0;
    for (const auto& chunk : chunks) {
        if (chunk.size) std::memcpy(bytes + at, chunk.bytes.get(), chunk.size);
        at += chunk.size;
    }
    output = std::make_shared<ByteHolder>(bytes, static_cast<uint32_t>(total));
    consumed = inputSize - zs.stream.avail_in;
    return true;
}

uint32_t BitstreamReader::SetReaderWithDecompressedData(const FileStructureBlock* block, uint32_t section,
                                                        BitstreamReader& inner) {
    if (!block || block->sectionOffsets.size() < section + size_t{2}) {
        Logger::Log(LogLevel::Error, "BitstreamReader::SetReaderWithDecompressedData() - INVALID SECTION");
        return 0;
    }
    const uint32_t start = block->sectionOffsets[section];
    const uint32_t compressedSize = block->sectionOffsets[section + 1] - start;
    if (pos_ != start) {
        Logger::Log(LogLevel::Error, "BitstreamReader::SetReaderWithDecompressedData - current offset error!");
        return 0;
    }
    if (pos_ >= size_ || compressedSize > size_ - pos_) {
        Logger::Log(LogLevel::Error, "BitstreamReader::SetReaderWithDecompressedData() - section runs past the data");
        return 0;
    }
    std::shared_ptr<ByteHolder> inflated;
    uint32_t consumed = 0;
    if (!DecompressBlock(data_ + pos_, compressedSize, inflated, consumed)) return 0;
    if (consumed != compressedSize)
        Logger::Log(LogLevel::Error,
                    "BitstreamReader::SetReaderWithDecompressedData() - mismatching sizes of available "
                    "and consumed data");
    inner.SetData(std::move(inflated));
    return compressedSize;
}

bool BitstreamReader::ReadSection(const FileStructureBlock& block, uint32_t section, FileStructureBlock& target) {
    BitstreamReader inner(progress_);
    inner.SetVersion(version_);
    const uint32_t compressedSize = SetReaderWithDecompressedData(&block, section, inner);
    if (compressedSize == 0) return false;
    const bool reportsInside = section == kSectionTree || section == kSectionTessellation;
    if (reportsInside && progressTotal_ > 0)
        inner.SetProgress(progress_, static_cast<float>(compressedSize) / progressTotal_ * progressSpan_,
                          static_cast<int32_t>(inner.Size()));
    bool ok = false;
    switch (section) {
        case kSectionGlobals: ok = inner.ReadFileStructureGlobalsDecompressed(target.globals); break;
        case kSectionTree: ok = inner.ReadFileStructureTreeDecompressed(target.tree); break;
        case kSectionTessellation: ok = inner.ReadFileStructureTessellationDecompressed(target.tessellation); break;
        case kSectionGeometry: ok = inner.ReadFileStructureGeometryDecompressed(target.geometry); break;
        case kSectionExtraGeometry: ok = inner.ReadFileStructureExtraGeometryDecompressed(target.extraGeometry); break;
        default: break;
    }
    if (!ok) return false;
    pos_ += compressedSize;
    ResetNameAndGraphics();
    if (reportsInside)
        MarkProgressPosition();
    else
        ReportProgress();
    return true;
}

bool BitstreamReader::ReadFileStructureBlock(FileStructureBlock& block) {
    MarkProgressPosition();
    if (!ReadCommonHeader(block.header) || !ReadUncompressedFileBlocks(block.uncompressedFiles)) return false;
    for (uint32_t section = kSectionGlobals; section <= kSectionExtraGeometry; ++section)
        if (!ReadSection(block, section, block)) return false;
    return true;
}

bool BitstreamReader::ReadModelFileSection(FileStructure::ModelFileSection& modelFile, uint32_t modelFileOffset,
                                           uint32_t fileEndOffset, uint32_t numberOfFileStructures) {
    const uint32_t compressedSize = fileEndOffset - modelFileOffset;
    if (pos_ >= size_ || compressedSize > size_ - pos_) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadModelFileSection() - section runs past the data");
        return false;
    }
    std::shared_ptr<ByteHolder> inflated;
    uint32_t consumed = 0;
    if (!DecompressBlock(data_ + pos_, compressedSize, inflated, consumed)) return false;
    if (consumed != compressedSize)
        Logger::Log(LogLevel::Error,
                    "BitstreamReader::ReadModelFileSection() - mismatching sizes of available and consumed data");
    BitstreamReader inner;
    inner.SetVersion(version_);
    inner.SetData(std::move(inflated));
    if (!inner.ReadModelFileSectionDecompressed(modelFile, numberOfFileStructures)) return false;
    pos_ += compressedSize;
    ResetNameAndGraphics();
    return true;
}

}  // namespace Velmora::PRC
