#pragma once
// The U3D container: a file or memory image split into its raw blocks (first pass). The
// blocks are decoded one by one by the author pool's block walk (second pass), which frees
// each as soon as it is read, so peak memory stays near one copy of the file.
//
// Block layout (little-endian): u32 type, u32 data size D, u32 meta size M, D bytes of data,
// zero padding to a multiple of 4, M bytes of meta data, zero padding to a multiple of 4.
// The size test uses the unpadded sizes, so a last block without its trailing padding
// still loads. Meta data is kept with the block and never interpreted.

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace Velmora::U3D {

struct RawDataBlock {
    uint32_t blockType = 0;
    uint32_t blockKey = 0;
    std::string name = "Block_Unknown";
    uint32_t dataSize = 0;
    uint32_t metaSize = 0;
    // Own copies, each padded with zeros to a multiple of 4 bytes; empty when the size is 0.
    std::vector<uint8_t> data;
    std::vector<uint8_t> meta;
};

using RawDataBlockList = std::list<std::shared_ptr<RawDataBlock>>;

class U3DDataBlock {
public:
    // Takes one block at `pointer`. consumedOut is the padded distance walked, 0 unless a
    // block was made. Never reads beyond bytesLeft.
    static std::shared_ptr<RawDataBlock> CreateFromFileData(const uint8_t* pointer, uint64_t bytesLeft,
                                                            uint64_t& consumedOut);
};

class U3DFile {
public:
    static std::shared_ptr<U3DFile> CreateFromFile(const std::string& path);
    static std::shared_ptr<U3DFile> CreateFromMemory(const uint8_t* data, uint64_t size);

    // Splits the bytes into blocks; any fault refuses the whole file.
    bool ExtractDataBlocks(const uint8_t* data, uint64_t size);

    const std::string& Name() const { return name_; }
    RawDataBlockList& Blocks() { return blocks_; }
    size_t BlockCount() const { return blocks_.size(); }

private:
    explicit U3DFile(std::string name) : name_(std::move(name)) {}
    std::string name_;
    RawDataBlockList blocks_;
};

}  // namespace Velmora::U3D
