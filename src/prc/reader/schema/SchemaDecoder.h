#pragma once
// Turns a schema's token list into its instruction tree.

#include <cstdint>
#include <memory>
#include <vector>

#include "prc/reader/schema/SchemaInstruction.h"

namespace Velmora::PRC::Schema {

class Executable;

class Decoder {
public:
    // Deepest nesting of instructions; a deeper schema is refused.
    static constexpr uint32_t kMaxDepth = 64;

    explicit Decoder(const std::vector<uint32_t>* tokens) : tokens_(tokens) {}
    std::shared_ptr<Executable> Run();
    // The reader version the decoder was made for; kept for inspection.
    uint32_t ReaderVersion() const { return readerVersion_; }

private:
    bool HasNext() const { return next_ < tokens_->size(); }
    bool Take(uint32_t& token);
    std::shared_ptr<Instruction_Block> ReadBlockStart(bool withVersion);
    bool ReadBlockBody(Instruction_Block& block);
    Instruction::Ptr ReadSingleInstruction();
    Instruction::Ptr ReadInstructionFor(uint32_t token);
    bool ReadChildren(Instruction& instruction, size_t count);

    const std::vector<uint32_t>* tokens_;
    uint32_t readerVersion_ = 10001;
    size_t next_ = 0;
    uint32_t current_ = 0;
    int32_t blockLevel_ = 0;
    uint32_t depth_ = 0;
};

}  // namespace Velmora::PRC::Schema
