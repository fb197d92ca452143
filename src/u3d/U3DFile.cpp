#include "u3d/U3DFile.h"

#include <cinttypes>
#include <cstring>
#include <new>

#include "format/FileReader.h"
#include "u3d/BlockBase.h"
#include "u3d/BlockTable.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

namespace {

uint32_t LoadU32(const uint8_t* p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

uint64_t Pad4(uint64_t n) { return (n + 3) & ~uint64_t(3); }

}  // namespace

std::shared_ptr<RawDataBlock> U3DDataBlock::CreateFromFileData(const uint8_t* pointer, uint64_t bytesLeft,
                                                               uint64_t& consumedOut) {
    consumedOut = 0;
    if (pointer == nullptr || bytesLeft < 12) {
        Logger::Log(LogLevel::Error, "U3DDataBlock::CreateFromFileData - INVALID INPUT DATA!");
        return nullptr;
    }
    const uint32_t type = LoadU32(pointer);
    const uint32_t dataSize = LoadU32(pointer + 4);
    const uint32_t metaSize = LoadU32(pointer + 8);
    if (bytesLeft < 12 + uint64_t(dataSize) + uint64_t(metaSize)) {
        Logger::Log(LogLevel::Error, "U3DDataBlock::CreateFromFileData - CORRUPTED INPUT DATA!");
        return nullptr;
    }
    try {
        auto block = std::make_shared<RawDataBlock>();
        block->blockType = type;
        LookupBlockType(type, block->blockKey, block->name);
        block->dataSize = dataSize;
        block->metaSize = metaSize;
        uint64_t cursor = 12;
        if (dataSize) {
            block->data.assign(Pad4(dataSize), 0);
            std::memcpy(block->data.data(), pointer + cursor, dataSize);
            cursor += Pad4(dataSize);
        }
        if (metaSize) {
            block->meta.assign(Pad4(metaSize), 0);
            // The data padding may overshoot a file whose size test only counted D + M.
            const uint64_t available = cursor < bytesLeft ? bytesLeft - cursor : 0;
            std::memcpy(block->meta.data(), pointer + cursor, std::min<uint64_t>(metaSize, available));
            cursor += Pad4(metaSize);
        }
        consumedOut = cursor;
        return block;
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "U3DDataBlock::CreateFromFileData - OUT OF MEMORY!");
        return nullptr;
    }
}

std::shared_ptr<U3DFile> U3DFile::CreateFromFile(const std::string& path) {
    std::vector<uint8_t> bytes;
    if (!FormatGlue::ReadWholeFile(path, bytes) || bytes.empty()) return nullptr;
    std::shared_ptr<U3DFile> file(new (std::nothrow) U3DFile(path));
    if (!file || !file->ExtractDataBlocks(bytes.data(), bytes.size())) return nullptr;
    return file;
}

std::shared_ptr<U3DFile> U3DFile::CreateFromMemory(const uint8_t* data, uint64_t size) {
    if (data == nullptr || size == 0) return nullptr;
    try {
        // The caller's bytes are copied first, so that they may go away during the load.
        const std::vector<uint8_t> holder(data, data + size);
        std::shared_ptr<U3DFile> file(new U3DFile("<InMemoryCreation>"));
        if (!file->ExtractDataBlocks(holder.data(), holder.size())) return nullptr;
        return file;
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "U3DFile::CreateFromMemory() - OUT OF MEMORY!");
        return nullptr;
    }
}

bool U3DFile::ExtractDataBlocks(const uint8_t* data, uint64_t size) {
    if (data == nullptr || size == 0) return false;
    if (size < 4 || LoadU32(data) != BlockType::FileHeader) {
        Logger::Log(LogLevel::Error, "This is not valid U3D data, READING ABORTED!");
        return false;
    }
    blocks_.clear();
    uint64_t offset = 0;
    while (offset < size) {
        const uint64_t bytesLeft = size - offset;
        uint64_t consumed = 0;
        std::shared_ptr<RawDataBlock> block = U3DDataBlock::CreateFromFileData(data + offset, bytesLeft, consumed);
        if (!block || consumed == 0) {
            Logger::Log(LogLevel::Warning, "Failed to read DataBlock, aborting!");
            blocks_.clear();
            return false;
        }
        try {
            blocks_.push_back(block);
        } catch (const std::bad_alloc&) {
            Logger::Log(LogLevel::Error, "U3DFile::ExtractDataBlocks - OUT OF MEMORY!");
            blocks_.clear();
            return false;
        }
        if (Logger::Passes(LogLevel::ExtraVerbose))
            Logger::Log(LogLevel::ExtraVerbose, "U3DFile read datablock: %s (%08x), dataSize: %u, metaSize: %u",
                        block->name.c_str(), block->blockType, block->dataSize, block->metaSize);
        if (consumed >= bytesLeft) {
            Logger::Log(LogLevel::Verbose, "Finished reading DataBlocks, data used up (overshoot: %u)",
                        static_cast<uint32_t>(consumed - bytesLeft));
            break;
        }
        offset += consumed;
    }
    Logger::Log(LogLevel::Info, "Successfully read all the raw data!");
    if (blocks_.empty()) {
        Logger::Log(LogLevel::Error, "U3DFile::ExtractDataBlocks - NO BLOCKS EXTRACTED!");
        return false;
    }
    if (blocks_.front()->blockType != BlockType::FileHeader) {
        Logger::Log(LogLevel::Error, "U3DFile::ExtractDataBlocks - MISSING FILE HEADER!");
        blocks_.clear();
        return false;
    }
    return true;
}

}  // namespace Velmora::U3D
