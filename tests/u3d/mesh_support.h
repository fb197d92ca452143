#pragma once
// Test helpers for the CLOD mesh readers: a log capture, and a block walk that feeds the
// mesh blocks of a whole file (modifier chains included) to the mesh readers.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "u3d/AuthorMeshPool.h"
#include "u3d/BitStreamReader.h"
#include "u3d/CLODBaseMeshContinuation.h"
#include "u3d/CLODMeshDeclaration.h"
#include "u3d/CLODProgressiveMeshContinuation.h"
#include "u3d/PrimitiveSetContinuation.h"
#include "u3d/PrimitiveSetDeclaration.h"
#include "u3d/U3DFile.h"
#include "util/Logger.h"

namespace Velmora::U3D::Test {

class CaptureLog : public Utility::LogStream {
public:
    void Write(int32_t level, const std::string& text) override {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back({level, text});
    }
    std::vector<std::string> AtLevel(int32_t level) const {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<std::string> out;
        for (const auto& line : lines_)
            if (line.level == level) out.push_back(line.text);
        return out;
    }
    bool Contains(const std::string& needle) const {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& line : lines_)
            if (line.text.find(needle) != std::string::npos) return true;
        return false;
    }

private:
    struct Line {
        int32_t level;
        std::string text;
    };
    mutable std::mutex mutex_;
    std::vector<Line> lines_;
};

// Installs a capture for the lifetime of the object.
class ScopedLogCapture {
public:
    ScopedLogCapture() : capture(std::make_shared<CaptureLog>()) {
        auto& logger = Utility::Logger::Instance();
        previousLevel_ = logger.MaxLevel();
        previous_ = logger.Stream();
        logger.SetStream(capture);
        logger.SetMaxLevel(3);
    }
    ~ScopedLogCapture() {
        auto& logger = Utility::Logger::Instance();
        logger.SetStream(previous_);
        logger.SetMaxLevel(previousLevel_);
    }
    std::shared_ptr<CaptureLog> capture;

private:
    std::shared_ptr<Utility::LogStream> previous_;
    int32_t previousLevel_ = 2;
};

// Reads one mesh block of the given type into the pool; other types are ignored.
inline bool ReadMeshBlock(AuthorMeshPool& pool, uint32_t type, const uint8_t* data, uint32_t size, bool noCompression) {
    std::unique_ptr<BlockBase> block;
    if (type == BlockType::CLODMeshDeclaration)
        block = std::make_unique<CLODMeshDeclaration>(pool);
    else if (type == BlockType::CLODBaseMeshContinuation)
        block = std::make_unique<CLODBaseMeshContinuation>(pool);
    else if (type == BlockType::CLODProgressiveMeshContinuation)
        block = std::make_unique<CLODProgressiveMeshContinuation>(pool);
    else if (type == BlockType::PointSetDeclaration)
        block = std::make_unique<PointSetDeclaration>(pool);
    else if (type == BlockType::LineSetDeclaration)
        block = std::make_unique<LineSetDeclaration>(pool);
    else if (type == BlockType::PointSetContinuation)
        block = std::make_unique<PointSetContinuation>(pool);
    else if (type == BlockType::LineSetContinuation)
        block = std::make_unique<LineSetContinuation>(pool);
    else
        return true;
    BitStreamReader reader(data, size, noCompression);
    return block->Read(reader);
}

// The mesh blocks of a file in file order, with the header's no-compression flag.
class MeshBlockWalk {
public:
    explicit MeshBlockWalk(AuthorMeshPool& pool) : pool_(pool) {}

    // False if the file can't be split; counts blocks whose Read returned false.
    bool Walk(const std::string& path) {
        auto file = U3DFile::CreateFromFile(path);
        if (!file) return false;
        for (const auto& block : file->Blocks()) Visit(block->blockType, block->data.data(), block->dataSize, 0);
        return true;
    }
    int failedBlocks = 0;

private:
    static uint32_t U32At(const uint8_t* p) {
        uint32_t v;
        std::memcpy(&v, p, 4);
        return v;
    }

    void Visit(uint32_t type, const uint8_t* data, uint32_t size, int depth) {
        if (type == BlockType::FileHeader && size >= 8) {
            noCompression_ = (U32At(data + 4) & 0x4) != 0;
        } else if (type == BlockType::ModifierChain && depth < 8) {
            VisitChain(data, size, depth);
        } else if (!ReadMeshBlock(pool_, type, data, size, noCompression_)) {
            ++failedBlocks;
        }
    }

    // Chain layout: name, chain type, attributes, optional bounds, padding to 4, count,
    // then the nested blocks in file form.
    void VisitChain(const uint8_t* data, uint32_t size, int depth) {
        if (size < 2) return;
        uint64_t at = 2 + (data[0] | (data[1] << 8));
        if (at + 8 > size) return;
        const uint32_t attributes = U32At(data + at + 4);
        at += 8;
        if (attributes & 1) at += 16;
        if (attributes & 2) at += 24;
        at = (at + 3) & ~uint64_t(3);
        if (at + 4 > size) return;
        uint32_t count = U32At(data + at);
        at += 4;
        while (count-- > 0 && at < size) {
            uint64_t consumed = 0;
            auto nested = U3DDataBlock::CreateFromFileData(data + at, size - at, consumed);
            if (!nested || consumed == 0) return;
            Visit(nested->blockType, nested->data.data(), nested->dataSize, depth + 1);
            at += consumed;
        }
    }

    AuthorMeshPool& pool_;
    bool noCompression_ = false;
};

}  // namespace Velmora::U3D::Test
