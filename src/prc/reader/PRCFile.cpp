#include "prc/reader/PRCFile.h"

#include <cstring>
#include <new>

#include "format/AuthoringInterrupt.h"
#include "format/AuthoringProgress.h"
#include "prc/reader/BitstreamReader.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// Writers stamp file structure identifiers above this value; anything at or below it comes
// from a writer whose data may not follow the layout.
constexpr uint32_t kLowestValidStructureWord = 0x44881C74;
constexpr uint32_t kU32Bits = 32;
constexpr double kPercent = 100.0;

}  // namespace

std::string UniqueIDKey(const FileStructure::UniqueID& id) {
    return fmt::format("{:d}.{:d}.{:d}.{:d}", id.words[0], id.words[1], id.words[2], id.words[3]);
}

std::shared_ptr<PRCFile> PRCFile::CreateFromFile(const std::string& path, FormatGlue::AuthoringProgress* progress,
                                                 float progressSpan) {
    std::shared_ptr<ByteHolder> holder = Utility::ReadWholeFile(path);
    if (!holder || holder->Empty()) return nullptr;
    std::shared_ptr<PRCFile> file(new PRCFile(progress, progressSpan, path));
    if (!file->CreateRawDataBlocks(std::move(holder))) return nullptr;
    return file;
}

std::shared_ptr<PRCFile> PRCFile::CreateFromMemory(const uint8_t* bytes, uint32_t size,
                                                   FormatGlue::AuthoringProgress* progress, float progressSpan) {
    if (!bytes || size == 0) return nullptr;
    auto* copy = new (std::nothrow) uint8_t[size];
    if (!copy) {
        Logger::Log(LogLevel::Error, "PRCFile::CreateFromMemory() - OUT OF MEMORY!");
        return nullptr;
    }
    std::memcpy(copy, bytes, size);
    auto holder = std::make_shared<ByteHolder>(copy, size);
    std::shared_ptr<PRCFile> file(new PRCFile(progress, progressSpan, kInMemoryName));
    if (!file->CreateRawDataBlocks(std::move(holder))) return nullptr;
    return file;
}

std::shared_ptr<FileStructureBlock> PRCFile::GetFileStructureBlock(uint32_t index) const {
    if (index >= fileStructureBlocks_.size()) {
        Logger::Log(LogLevel::Error, "PRCFile::GetFileStructureBlock() - INVALID index");
        return nullptr;
    }
    return fileStructureBlocks_[index];
}

void PRCFile::LogHeaderWarnings() const {
    Logger::Log(LogLevel::Info, "File: '%s', minVersion: %u, authoringVersion: %u", fileName_.c_str(),
                header_.minVersion, header_.authoringVersion);
    const auto& app = header_.applicationID.words;
    if (app[0] || app[1] || app[2] || app[3])
        Logger::Log(LogLevel::Warning, "File: '%s', applicationID is NON-ZERO, potential problem reading data!",
                    fileName_.c_str());
    if (header_.fileStructureID.words[3] <= kLowestValidStructureWord)
        Logger::Log(LogLevel::Warning, "File: '%s', fileStructureID data is INVALID, potential problem reading data!",
                    fileName_.c_str());
}

bool PRCFile::ReadFileStructureTable(BitstreamReader& reader, uint32_t count,
                                     std::vector<std::shared_ptr<FileStructureBlock>>& blocks) {
    // An entry holds at least its UUID, the reserved word and the offset count.
    constexpr uint32_t kMinimumEntryBits = 6 * kU32Bits;
    if (!reader.CountFits(count, kMinimumEntryBits, "file structure")) return false;
    for (uint32_t i = 0; i < count; ++i) {
        auto block = std::make_shared<FileStructureBlock>();
        block->index = i;
        reader.ReadUniqueID(block->uuid);
        (void)reader.ReadU32();
        const uint32_t numberOfOffsets = reader.ReadU32();
        if (!reader.CountFits(numberOfOffsets, kU32Bits, "section offset")) return false;
        block->sectionOffsets.assign(numberOfOffsets + size_t{1}, 0);
        for (uint32_t k = 0; k < numberOfOffsets; ++k) block->sectionOffsets[k] = reader.ReadU32();
        if (i != 0 && blocks.back()->sectionOffsets.size() > kSectionEnd)
            blocks.back()->sectionOffsets[kSectionEnd] = block->sectionOffsets[0];
        blocks.push_back(std::move(block));
    }
    return true;
}

uint32_t PRCFile::ReadBlocks(BitstreamReader& reader, std::vector<std::shared_ptr<FileStructureBlock>>& blocks) {
    const double fileSize = data_->Size();
    uint32_t read = 0;
    for (auto& block : blocks) {
        if (FormatGlue::AuthoringInterrupt::Interrupted()) {
            Logger::Log(LogLevel::Warning, "PRCFile::CreateRawDataBlocks() - interrupted");
            break;
        }
        const auto& offsets = block->sectionOffsets;
        const uint32_t span = offsets.size() > kSectionEnd ? offsets[kSectionEnd] - offsets[0] : 0;
        reader.SetProgress(progress_, static_cast<float>(span / fileSize * progressSpan_), static_cast<int32_t>(span));
        if (!reader.ReadFileStructureBlock(*block)) {
            Logger::LogF(LogLevel::Error, "Failed to read file structure block {:d}", block->index);
            break;
        }
        ++read;
    }
    return read;
}

bool PRCFile::CreateRawDataBlocks(std::shared_ptr<ByteHolder> holder) {
    if (!holder || holder->Size() <= kMinimumFileSize) {
        Logger::Log(LogLevel::Error, "PRCFile::CreateRawDataBlocks() - Invalid PRC file!");
        return false;
    }
    data_ = std::move(holder);
    // The entity readers find their schemas through the globals being read; that pointer
    // must not outlive this load.
    struct GlobalsGuard {
        ~GlobalsGuard() { BitstreamReader::SetCurrentGlobals(nullptr); }
    } globalsGuard;
    BitstreamReader reader(progress_);
    reader.SetRange(data_->Data(), data_->Size());
    if (!reader.ReadCommonHeader(header_)) return false;
    LogHeaderWarnings();

    const uint32_t numberOfFileStructures = reader.ReadU32();
    if (numberOfFileStructures == 0) {
        Logger::Log(LogLevel::Error, "PRCFile::CreateRawDataBlocks() - with invalid number of file structure blocks!");
        return false;
    }
    std::vector<std::shared_ptr<FileStructureBlock>> blocks;
    if (!ReadFileStructureTable(reader, numberOfFileStructures, blocks)) return false;
    const uint32_t modelFileOffset = reader.ReadU32();
    const uint32_t fileEndOffset = reader.ReadU32();
    if (blocks.back()->sectionOffsets.size() > kSectionEnd)
        blocks.back()->sectionOffsets[kSectionEnd] = modelFileOffset;
    if (!reader.ReadUncompressedFileBlocks(uncompressedFiles_)) return false;

    if (progress_ && progressSpan_ > 0.0f) {
        const double share = static_cast<double>(blocks.front()->sectionOffsets[0]) / data_->Size() * progressSpan_;
        progress_->UpdateProgress(static_cast<float>(share * kPercent));
    }

    const uint32_t read = ReadBlocks(reader, blocks);
    if (read == 0) {
        Logger::Log(LogLevel::Error, "PRCFile::CreateRawDataBlocks() - No file structure blocks successfully read!");
        return false;
    }
    if (read < numberOfFileStructures)
        Logger::Log(LogLevel::Warning, "Only %u/%u file structure blocks read!", read, numberOfFileStructures);

    reader.SetProgress(nullptr, 0.0f, 0);
    if (!reader.ReadModelFileSection(modelFile_, modelFileOffset, fileEndOffset, numberOfFileStructures)) return false;
    return SetBlocksFromModelSection(blocks);
}

bool PRCFile::SetBlocksFromModelSection(const std::vector<std::shared_ptr<FileStructureBlock>>& blocks) {
    if (blocks.empty()) return false;
    const auto& indices = modelFile_.fileStructureIndices;
    if (indices.size() != blocks.size()) {
        Logger::Log(LogLevel::Error,
                    "PRCFile::SetBlocksFromModelSection() - unexpected number of file structure blocks!");
        return false;
    }
    for (const uint32_t index : indices) {
        if (index >= blocks.size()) {
            Logger::Log(LogLevel::Error, "PRCFile::SetBlocksFromModelSection() - invalid block index!");
            return false;
        }
        const auto inserted = fileStructureBlockMap_.emplace(UniqueIDKey(blocks[index]->uuid),
                                                             static_cast<uint32_t>(fileStructureBlocks_.size()));
        if (!inserted.second) {
            Logger::Log(LogLevel::Warning, "Cannot add index #%u tp fileStructureBlockMap - duplicate!", index);
            continue;
        }
        fileStructureBlocks_.push_back(blocks[index]);
    }
    if (fileStructureBlockMap_.size() >= blocks.size()) return true;

    Logger::Log(LogLevel::Warning, "Adding missing blocks to fileStructureBlockMap..");
    for (const auto& block : blocks) {
        const std::string key = UniqueIDKey(block->uuid);
        if (fileStructureBlockMap_.count(key)) continue;
        if (!fileStructureBlockMap_.emplace(key, static_cast<uint32_t>(fileStructureBlocks_.size())).second) {
            Logger::Log(LogLevel::Error,
                        "PRCFile::SetBlocksFromModelSection() - failed to add missing block to fileStructureBlockMap");
            return false;
        }
        fileStructureBlocks_.push_back(block);
        Logger::Log(LogLevel::Warning, "Added missing block #%u to fileStructureBlockMap", block->index);
    }
    return true;
}

}  // namespace Velmora::PRC
