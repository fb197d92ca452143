#pragma once
// One PRC file taken apart into its raw data blocks: the header, the uncompressed files, one
// FileStructureBlock per file structure with its read sections, and the model file section.
// Built in one go by CreateFromFile or CreateFromMemory, unchanged afterwards.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "prc/reader/ContainerTypes.h"
#include "util/SimpleFile.h"

namespace Velmora::FormatGlue {
class AuthoringProgress;
}

namespace Velmora::PRC {

class BitstreamReader;

class PRCFile {
public:
    static constexpr const char* kInMemoryName = "<InMemoryCreation>";
    // A holder of this many bytes or fewer can't be a PRC file.
    static constexpr uint32_t kMinimumFileSize = 256;

    static std::shared_ptr<PRCFile> CreateFromFile(const std::string& path, FormatGlue::AuthoringProgress* progress,
                                                   float progressSpan);
    static std::shared_ptr<PRCFile> CreateFromMemory(const uint8_t* bytes, uint32_t size,
                                                     FormatGlue::AuthoringProgress* progress, float progressSpan);

    std::shared_ptr<FileStructureBlock> GetFileStructureBlock(uint32_t index) const;
    size_t NumberOfFileStructureBlocks() const { return fileStructureBlocks_.size(); }

    const std::string& FileName() const { return fileName_; }
    const CommonHeader& Header() const { return header_; }
    const FileStructure::ModelFileSection& ModelFile() const { return modelFile_; }
    const UncompressedFileList& UncompressedFiles() const { return uncompressedFiles_; }
    const std::map<std::string, uint32_t>& FileStructureBlockMap() const { return fileStructureBlockMap_; }

private:
    using ByteHolder = Utility::DataHolder<uint8_t>;

    PRCFile(FormatGlue::AuthoringProgress* progress, float span, std::string name)
        : progress_(progress), progressSpan_(span), fileName_(std::move(name)) {}

    bool CreateRawDataBlocks(std::shared_ptr<ByteHolder> holder);
    bool ReadFileStructureTable(BitstreamReader& reader, uint32_t count,
                                std::vector<std::shared_ptr<FileStructureBlock>>& blocks);
    uint32_t ReadBlocks(BitstreamReader& reader, std::vector<std::shared_ptr<FileStructureBlock>>& blocks);
    bool SetBlocksFromModelSection(const std::vector<std::shared_ptr<FileStructureBlock>>& blocks);
    void LogHeaderWarnings() const;

    FormatGlue::AuthoringProgress* progress_ = nullptr;
    float progressSpan_ = 0.0f;
    std::string fileName_;
    std::shared_ptr<ByteHolder> data_;
    CommonHeader header_;
    std::vector<std::shared_ptr<FileStructureBlock>> fileStructureBlocks_;
    FileStructure::ModelFileSection modelFile_;
    UncompressedFileList uncompressedFiles_;
    std::map<std::string, uint32_t> fileStructureBlockMap_;
};

}  // namespace Velmora::PRC
