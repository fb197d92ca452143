// The container: one zlib stream per section, the file structure's header, the file header
// with its table of offsets, and the output to a file or to memory.

#include <cerrno>
#include <cstring>

#include <zlib.h>

#include "prc/export/BitstreamWriter.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint8_t kMagic[] = {'P', 'R', 'C'};
constexpr int kCompressionLevel = 6;
constexpr int kWindowBits = 15;
constexpr int kMemoryLevel = 8;
constexpr uint32_t kFileStructures = 1;
constexpr uint32_t kReservedWord = 0;
// The reader refuses files of this size or less; a smaller file gets one uncompressed file of
// padding in its header.
constexpr uint32_t kMinimumFileSize = 257;
// Bytes of the file header before its uncompressed files: magic, two versions, two UUIDs,
// the number of file structures, one table entry with six offsets, the model file's start
// and end, and the number of uncompressed files.
constexpr uint32_t kU32Bytes = 4;
constexpr uint32_t kUniqueIDBytes = 16;
constexpr uint32_t kFileHeaderBytes = sizeof kMagic + 2 * kU32Bytes + 2 * kUniqueIDBytes + kU32Bytes + kUniqueIDBytes +
                                      2 * kU32Bytes + BitstreamWriter::kSectionCount * kU32Bytes + 2 * kU32Bytes +
                                      kU32Bytes;

struct DeflateStream {
    z_stream stream{};
    bool open = false;
    ~DeflateStream() {
        if (open) deflateEnd(&stream);
    }
};

}  // namespace

bool BitstreamWriter::Compress(const DataChunk& input, DataChunk& output) {
    DeflateStream zs;
    if (deflateInit2(&zs.stream, kCompressionLevel, Z_DEFLATED, kWindowBits, kMemoryLevel, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::Compress() - failed to deflateInit!");
        return false;
    }
    zs.open = true;
    const uLong bound = deflateBound(&zs.stream, input.Size());
    if (bound == 0 || bound > UINT32_MAX) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::Compress() - invalid output buffer");
        return false;
    }
    output.bytes.resize(bound);
    zs.stream.next_in = const_cast<Bytef*>(input.bytes.data());
    zs.stream.avail_in = input.Size();
    zs.stream.next_out = output.bytes.data();
    zs.stream.avail_out = static_cast<uInt>(bound);
    if (deflate(&zs.stream, Z_FINISH) != Z_STREAM_END) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::Compress() - error on compression, not completed!");
        output.bytes.clear();
        return false;
    }
    output.bytes.resize(zs.stream.total_out);
    output.bytes.shrink_to_fit();
    return true;
}

void BitstreamWriter::WriteSignature(const FileStructure::UniqueID& structure) {
    // The file header and the file structure's own header both open this way.
    for (const uint8_t c : kMagic) WriteByte(c);
    WriteU32(kMinVersion);
    WriteU32(kAuthoringVersion);
    WriteUniqueID(structure);
    WriteUniqueID(FileStructure::UniqueID{});
}

bool BitstreamWriter::WriteHeaderChunk(DataChunk& chunk) const {
    // A small writer of its own: the header is byte-aligned and written apart from the
    // section in progress.
    BitstreamWriter header;
    header.CreateNewWritingChunk();
    header.WriteSignature(block_->uuid);
    header.WriteU32(static_cast<uint32_t>(block_->uncompressedFiles.size()));
    for (const auto& file : block_->uncompressedFiles) {
        if (!file || (!file->data && file->size != 0)) return false;
        header.WriteU32(file->size);
        for (uint32_t i = 0; i < file->size; ++i) header.WriteByte(file->data[i]);
    }
    return header.GetDataChunkFromWritingChunk(chunk);
}

bool BitstreamWriter::WriteSectionChunk(uint32_t section, DataChunk& chunk) {
    if (!CreateNewWritingChunk()) return false;
    bool ok = false;
    switch (section) {
        case kSectionGlobals: ok = WriteGlobalsSection(block_->globals); break;
        case kSectionTree: ok = WriteTreeSection(block_->tree); break;
        case kSectionTessellation: ok = WriteTessellationSection(block_->tessellation); break;
        case kSectionGeometry: ok = WriteGeometrySection(block_->geometry, kTypeGeometry); break;
        case kSectionExtraGeometry: ok = WriteGeometrySection(block_->extraGeometry, kTypeExtraGeometry); break;
        default: break;
    }
    DataChunk plain;
    if (!GetDataChunkFromWritingChunk(plain) || !ok) return false;
    return Compress(plain, chunk);
}

bool BitstreamWriter::CreateFileStructureBlock(std::vector<DataChunk>& chunks) {
    chunks.assign(kSectionCount, DataChunk{});
    if (!WriteHeaderChunk(chunks[kSectionHeader])) {
        Logger::Log(LogLevel::Error,
                    "BitstreamWriter::CreateFileStructureBlock() - failed to create FileStructureBlock-Header");
        return false;
    }
    for (uint32_t section = kSectionGlobals; section < kSectionCount; ++section)
        if (!WriteSectionChunk(section, chunks[section])) {
            Logger::Log(LogLevel::Error,
                        "BitstreamWriter::CreateFileStructureBlock() - failed to create compressed "
                        "FileStructure-Section");
            return false;
        }
    return true;
}

bool BitstreamWriter::CompressData(std::vector<DataChunk>& chunks) {
    chunks.clear();
    if (!block_ || !modelFile_) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::Create() - FileStructureBlock INVALID");
        return false;
    }
    std::vector<DataChunk> structure;
    if (!CreateFileStructureBlock(structure)) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteToFile() - failed to compress file structure block");
        return false;
    }
    DataChunk model, modelPlain;
    if (!CreateNewWritingChunk()) return false;
    const bool written = WriteModelFileSection(*modelFile_);
    if (!GetDataChunkFromWritingChunk(modelPlain) || !written || !Compress(modelPlain, model)) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteToFile() - failed to create ModelFileSection");
        return false;
    }

    uint64_t body = model.Size();
    for (const DataChunk& chunk : structure) body += chunk.Size();
    const uint32_t padding = kFileHeaderBytes + body < kMinimumFileSize
                                 ? kMinimumFileSize - static_cast<uint32_t>(kFileHeaderBytes + body)
                                 : 0;
    const uint32_t headerSize = kFileHeaderBytes + (padding ? kU32Bytes + padding : 0);
    if (headerSize + body > UINT32_MAX) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::CompressData() - failed to create File-Header");
        return false;
    }

    BitstreamWriter header;
    header.CreateNewWritingChunk();
    header.WriteSignature(block_->uuid);
    header.WriteU32(kFileStructures);
    header.WriteUniqueID(block_->uuid);
    header.WriteU32(kReservedWord);
    header.WriteU32(kSectionCount);
    uint32_t offset = headerSize;
    for (const DataChunk& chunk : structure) {
        header.WriteU32(offset);
        offset += chunk.Size();
    }
    header.WriteU32(offset);
    header.WriteU32(offset + model.Size());
    header.WriteU32(padding ? 1 : 0);
    if (padding) {
        header.WriteU32(padding);
        for (uint32_t i = 0; i < padding; ++i) header.WriteByte(0);
    }
    DataChunk headerChunk;
    if (!header.GetDataChunkFromWritingChunk(headerChunk) || headerChunk.Size() != headerSize) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::CompressData() - failed to create File-Header");
        return false;
    }
    chunks.reserve(structure.size() + 2);
    chunks.push_back(std::move(headerChunk));
    for (DataChunk& chunk : structure) chunks.push_back(std::move(chunk));
    chunks.push_back(std::move(model));
    return true;
}

bool BitstreamWriter::WriteBytesToFile(std::FILE* file, const DataChunk& chunk) {
    if (!file || (chunk.bytes.empty() && chunk.Size() != 0)) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteBytesToFile() - invalid input data!");
        return false;
    }
    if (chunk.Size() != 0 && std::fwrite(chunk.bytes.data(), 1, chunk.Size(), file) != chunk.Size()) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteBytesToFile() - error on writing!");
        return false;
    }
    return true;
}

bool BitstreamWriter::WriteToFile(const std::string& path) {
    std::vector<DataChunk> chunks;
    if (!CompressData(chunks)) return false;
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) {
        Logger::LogF(LogLevel::Error, "BitstreamWriter::WriteToFile() - failed to create file '{:s}'", path);
        return false;
    }
    bool ok = true;
    for (const DataChunk& chunk : chunks)
        if (!(ok = WriteBytesToFile(file, chunk))) break;
    // Buffered bytes reach the device only here, so a full disk shows up at the flush.
    if (std::fflush(file) != 0 && ok) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteBytesToFile() - error on writing!");
        ok = false;
    }
    if (std::fclose(file) != 0 && ok) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteBytesToFile() - error on writing!");
        ok = false;
    }
    return ok;
}

bool BitstreamWriter::WriteToMemory(DataChunk& chunkOut) {
    chunkOut.bytes.clear();
    std::vector<DataChunk> chunks;
    if (!CompressData(chunks)) return false;
    size_t total = 0;
    for (const DataChunk& chunk : chunks) total += chunk.Size();
    chunkOut.bytes.reserve(total);
    for (const DataChunk& chunk : chunks)
        chunkOut.bytes.insert(chunkOut.bytes.end(), chunk.bytes.begin(), chunk.bytes.end());
    if (chunkOut.bytes.empty()) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteToMemory() - invalid data chunk!");
        return false;
    }
    return true;
}

}  // namespace Velmora::PRC
