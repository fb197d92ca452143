#pragma once
// The raw blocks that a PRC file is split into: its header, the uncompressed files, and one
// block per file structure with its inflated and read sections.

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "prc/reader/filestructure/Sections.h"

namespace Velmora::PRC {

struct CommonHeader {
    uint32_t minVersion = 0;
    uint32_t authoringVersion = 0;
    FileStructure::UniqueID fileStructureID;
    FileStructure::UniqueID applicationID;
};

// Points into the file's bytes, which the PRCFile keeps alive.
struct UncompressedFileBlock {
    bool present = true;
    const uint8_t* data = nullptr;
    uint32_t size = 0;
};

using UncompressedFileList = std::list<std::shared_ptr<UncompressedFileBlock>>;

// Section numbers of a file structure.
enum FileStructureSection : uint32_t {
    kSectionHeader = 0,
    kSectionGlobals = 1,
    kSectionTree = 2,
    kSectionTessellation = 3,
    kSectionGeometry = 4,
    kSectionExtraGeometry = 5,
    kSectionEnd = 6,  // the element of sectionOffsets that closes the last section
};

struct FileStructureBlock {
    uint32_t index = 0;
    FileStructure::UniqueID uuid;
    std::vector<uint32_t> sectionOffsets;
    CommonHeader header;
    UncompressedFileList uncompressedFiles;
    FileStructure::GlobalsSection globals;
    FileStructure::TreeSection tree;
    FileStructure::TessellationSection tessellation;
    FileStructure::GeometrySection geometry;
    FileStructure::GeometrySection extraGeometry;
};

// The text key of a UUID, used for every lookup of a file structure.
std::string UniqueIDKey(const FileStructure::UniqueID& id);

}  // namespace Velmora::PRC
