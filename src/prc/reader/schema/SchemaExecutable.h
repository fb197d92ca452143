#pragma once
// A decoded schema: its root block and its globals, which live as long as the schema and are
// not cleared between runs.

#include <cstdint>
#include <memory>
#include <vector>

#include "prc/reader/schema/SchemaInstruction.h"

namespace Velmora::PRC::Schema {

class Executable {
public:
    // Null for fewer than two tokens or a schema that doesn't decode.
    static std::shared_ptr<Executable> Create(const std::vector<uint32_t>& tokens);

    explicit Executable(std::shared_ptr<Instruction_Block> root) : root_(std::move(root)) {}
    // True when the root gave a boolean true.
    bool Run(BitstreamReader& reader);

    const std::shared_ptr<Instruction_Block>& Root() const { return root_; }
    const Globals& GlobalValues() const { return globals_; }

private:
    std::shared_ptr<Instruction_Block> root_;
    Globals globals_;
};

}  // namespace Velmora::PRC::Schema
