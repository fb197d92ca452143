#include "prc/reader/schema/SchemaDecoder.h"

#include <algorithm>

#include "prc/reader/BitstreamReader.h"
#include "prc/reader/schema/SchemaExecutable.h"
#include "prc/reader/schema/SchemaRunBudget.h"
#include "util/Logger.h"

namespace Velmora::PRC::Schema {

using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr size_t kMinimumTokens = 2;
constexpr size_t kBinaryChildren = 2;
}  // namespace

bool Decoder::Take(uint32_t& token) {
    if (!HasNext()) return false;
    token = current_ = (*tokens_)[next_++];
    return true;
}

std::shared_ptr<Executable> Decoder::Run() {
    if (tokens_->front() != kTokenBlock || tokens_->back() != kTokenBlockEnd) {
        Logger::Log(LogLevel::Error, "Schema::Decoder::Run() - Scheme needs all-enclosing block!");
        return nullptr;
    }
    uint32_t token = 0;
    Take(token);
    auto root = ReadBlockStart(false);
    if (!root || !ReadBlockBody(*root)) return nullptr;
    if (blockLevel_ != 0) {
        Logger::Log(LogLevel::Error, "Schema::Decoder::Run() - Incorrectly terminated schema blocks!");
        return nullptr;
    }
    return std::make_shared<Executable>(std::move(root));
}

std::shared_ptr<Instruction_Block> Decoder::ReadBlockStart(bool withVersion) {
    ++blockLevel_;
    auto block = std::make_shared<Instruction_Block>(static_cast<int32_t>(current_));
    if (withVersion) {
        uint32_t version = 0;
        if (!Take(version)) return nullptr;
        block->version = version;
    }
    return block;
}

bool Decoder::ReadBlockBody(Instruction_Block& block) {
    while (HasNext()) {
        if ((*tokens_)[next_] == kTokenBlockEnd) {
            uint32_t token = 0;
            Take(token);
            if (--blockLevel_ < 0) {
                Logger::Log(LogLevel::Error, "SchemaDecoder::EndBlock() - NEGATIVE BLOCK LEVEL!");
                return false;
            }
            return true;
        }
        Instruction::Ptr instruction = ReadSingleInstruction();
        if (!instruction) return false;
        block.children.push_back(std::move(instruction));
    }
    Logger::Log(LogLevel::Error, "Decoder::IsNextTokenBlockEnd() - OUT OF BOUNDS");
    return true;
}

bool Decoder::ReadChildren(Instruction& instruction, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        Instruction::Ptr child = ReadSingleInstruction();
        if (!child) return false;
        instruction.children.push_back(std::move(child));
    }
    return true;
}

Instruction::Ptr Decoder::ReadSingleInstruction() {
    uint32_t token = 0;
    if (!Take(token)) return nullptr;
    if (depth_ >= kMaxDepth) {
        Logger::Log(LogLevel::Error, "Schema::Decoder::ReadSingleInstruction() - schema nested too deeply");
        return nullptr;
    }
    ++depth_;
    Instruction::Ptr instruction = ReadInstructionFor(token);
    --depth_;
    const bool plainOrBlock = token <= kTokenReadSixDoubles || token == kTokenBlock || token == kTokenVersionedBlock;
    if (!instruction && plainOrBlock)
        Logger::Log(LogLevel::Error, "Schema::Decoder::ReadSingleInstruction() - ERROR ON INSTRUCTION!");
    return instruction;
}

Instruction::Ptr Decoder::ReadInstructionFor(uint32_t token) {
    switch (token) {
        case kTokenBlock:
        case kTokenVersionedBlock: {
            auto block = ReadBlockStart(token == kTokenVersionedBlock);
            if (!block || !ReadBlockBody(*block)) return nullptr;
            return block;
        }
        case kTokenParentType:
        case kTokenConstant: {
            Instruction::Ptr instruction = CreateInstruction(token);
            uint32_t operand = 0;
            if (!instruction || !Take(operand)) return nullptr;
            if (token == kTokenParentType)
                static_cast<Instruction_ParentType&>(*instruction).parentType = operand;
            else
                static_cast<Instruction_Constant&>(*instruction).value = operand;
            return instruction;
        }
        case kTokenDeclare:
        case kTokenSet:
        case kTokenDeclareAndSet:
        case kTokenGet: {
            Instruction::Ptr instruction = CreateInstruction(token);
            uint32_t index = 0;
            if (!instruction || !Take(index)) return nullptr;
            static_cast<Instruction_Global&>(*instruction).index = index;
            const bool withValue = token == kTokenSet || token == kTokenDeclareAndSet;
            if (withValue && !ReadChildren(*instruction, 1)) return nullptr;
            return instruction;
        }
        case kTokenLoop: {
            Instruction::Ptr instruction = CreateInstruction(token);
            if (!instruction || !ReadChildren(*instruction, kBinaryChildren)) return nullptr;
            return instruction;
        }
        case kTokenLoopImplicitCounter: {
            Instruction::Ptr instruction = CreateInstruction(token);
            if (!instruction) return nullptr;
            instruction->children.push_back(CreateInstruction(kTokenReadUnsigned));
            if (!ReadChildren(*instruction, 1)) return nullptr;
            return instruction;
        }
        case kTokenIf: {
            Instruction::Ptr instruction = CreateInstruction(token);
            if (!instruction || !ReadChildren(*instruction, kBinaryChildren)) return nullptr;
            if (HasNext() && (*tokens_)[next_] == kTokenElse) {
                uint32_t separator = 0;
                Take(separator);
                if (!ReadChildren(*instruction, 1)) return nullptr;
            }
            return instruction;
        }
        case kTokenUnknown: {
            Instruction::Ptr instruction = CreateInstruction(token);
            uint32_t discarded = 0;
            if (Take(discarded))
                Logger::Log(LogLevel::Warning, "Decoder::ReadUnknownInstruction() - DISCARDED TOKEN: %u", discarded);
            return instruction;
        }
        default: break;
    }
    if (token <= kTokenReadSixDoubles || token == kTokenValueFor || token == kTokenIs3DCurve)
        return CreateInstruction(token);
    if (token >= kTokenMultiply && token <= kTokenNotEqual) {
        Instruction::Ptr instruction = CreateInstruction(token);
        if (!instruction || !ReadChildren(*instruction, kBinaryChildren)) return nullptr;
        return instruction;
    }
    Logger::Log(LogLevel::Error, "Schema::Decoder::ReadSingleInstruction() - UNSUPPORTEN TOKEN!");
    return nullptr;
}

std::shared_ptr<Executable> Executable::Create(const std::vector<uint32_t>& tokens) {
    if (tokens.size() < kMinimumTokens) return nullptr;
    Decoder decoder(&tokens);
    return decoder.Run();
}

bool Executable::Run(BitstreamReader& reader) {
    if (!root_) return false;
    RunBudget::Reset(std::max<uint64_t>(RunBudget::kMinimumPasses, reader.RemainingBits()));
    const Value::Ptr result = root_->Execute(reader, globals_);
    return result && result->type == kValueBoolean && result->boolean;
}

}  // namespace Velmora::PRC::Schema
