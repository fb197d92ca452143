#include "prc/reader/schema/SchemaInstruction.h"

#include <fmt/format.h>

#include "prc/reader/BitstreamReader.h"
#include "prc/reader/schema/SchemaRunBudget.h"
#include "util/Logger.h"

namespace Velmora::PRC::Schema {

using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kCharacterLimit = 255;
constexpr size_t kBinaryOperands = 2;
constexpr size_t kIfOnly = 2;
constexpr size_t kIfElse = 3;

size_t DoublesOf(uint32_t token) {
    switch (token) {
        case kTokenReadTwoDoubles:
        case kTokenReadTwoDoublesB: return 2;
        case kTokenReadThreeDoubles: return 3;
        case kTokenReadFourDoubles: return 4;
        case kTokenReadSixDoubles: return 6;
        default: return 0;
    }
}

}  // namespace

uint32_t& CurrentLoopIndex() {
    static uint32_t index = 0;
    return index;
}

Value::Ptr Instruction::True() {
    auto value = std::make_shared<Value>();
    value->type = kValueBoolean;
    value->boolean = true;
    value->SyncFrom(kValueBoolean);
    return value;
}

Value::Ptr Instruction_Block::Execute(BitstreamReader& reader, Globals& globals) {
    // Data of a version this reader knows was read by the fixed code already.
    if (type == static_cast<int32_t>(kTokenVersionedBlock) && version <= reader.SchemaReaderVersion()) return True();
    for (const Ptr& child : children) {
        if (!child || !child->Execute(reader, globals)) {
            Logger::Log(LogLevel::Error, "Instruction_Block::Execute() - ERROR ON INSTRUCTION");
            return nullptr;
        }
    }
    return True();
}

std::string Instruction_Block::ToString() const {
    return version != 0 ? fmt::format("[Version = {:d}]", version) : std::string();
}

Value::Ptr Instruction_Read::Execute(BitstreamReader& reader, Globals&) {
    auto value = std::make_shared<Value>();
    const auto token = static_cast<uint32_t>(type);
    value->type = token;
    switch (token) {
        case kTokenReadBit: value->boolean = reader.ReadBit() != 0; break;
        case kTokenReadDouble: value->real = reader.ReadDouble(); break;
        case kTokenReadCharacter: value->character = reader.ReadByte(); break;
        case kTokenReadUnsigned: value->unsignedValue = reader.ReadUnsignedInteger(); break;
        case kTokenReadInteger: value->integer = reader.ReadInteger(); break;
        case kTokenReadString: value->text = reader.ReadString(); break;
        default: {
            const size_t count = DoublesOf(token);
            if (count == 0) return nullptr;
            for (size_t i = 0; i < count; ++i) value->doubles[i] = reader.ReadDouble();
            if (token == kTokenReadThreeDoubles) value->type = kValueTwoDoubles;
            return value;
        }
    }
    value->SyncFrom(token);
    return value;
}

Value::Ptr Instruction_Global::Declare(Globals& globals) {
    auto fresh = std::make_shared<Value>();
    if (!globals.emplace(index, fresh).second) {
        Logger::Log(LogLevel::Error, "Instruction_Global::ValueDeclare() - REDECLARED EXISTING GLOBAL!");
        return nullptr;
    }
    return True();
}

Value::Ptr Instruction_Global::Set(BitstreamReader& reader, Globals& globals) {
    const auto it = globals.find(index);
    if (it == globals.end()) {
        Logger::Log(LogLevel::Error, "Instruction_Global::ValueSet() - TRYING TO SET UNDECLARED GLOBAL!");
        return nullptr;
    }
    if (children.empty() || !children.front()) {
        Logger::Log(LogLevel::Error, "Instruction_Global::ValueSet() - NO VALUE TO SET!");
        return nullptr;
    }
    it->second = children.front()->Execute(reader, globals);
    return True();
}

Value::Ptr Instruction_Global::Get(Globals& globals) {
    const auto it = globals.find(index);
    if (it == globals.end()) {
        Logger::Log(LogLevel::Error, "Instruction_Global::ValueGet() - TRYING TO ACCESS UNDECLARED GLOBAL!");
        return nullptr;
    }
    return it->second ? std::make_shared<Value>(*it->second) : std::make_shared<Value>();
}

Value::Ptr Instruction_Global::Execute(BitstreamReader& reader, Globals& globals) {
    switch (static_cast<uint32_t>(type)) {
        case kTokenDeclare: return Declare(globals);
        case kTokenSet: return Set(reader, globals);
        case kTokenDeclareAndSet: return Declare(globals) ? Set(reader, globals) : nullptr;
        case kTokenGet: return Get(globals);
        default: break;
    }
    Logger::Log(LogLevel::Error, "Instruction_Global::Execute() - ERROR ON EXECUTION!");
    return nullptr;
}

std::string Instruction_Global::ToString() const { return fmt::format("[GlobalIndex = {:d}]", index); }

Value::Ptr Instruction_Constant::Execute(BitstreamReader&, Globals&) {
    auto result = std::make_shared<Value>();
    result->type = kValueUnsigned;
    result->unsignedValue = value;
    result->integer = static_cast<int32_t>(value);
    result->real = value;
    result->boolean = value != 0;
    result->character = value < kCharacterLimit ? static_cast<uint8_t>(value) : 0;
    return result;
}

std::string Instruction_Constant::ToString() const { return fmt::format("[Constant = {:d}]", value); }

Value::Ptr Instruction_ParentType::Execute(BitstreamReader&, Globals&) {
    auto result = std::make_shared<Value>();
    result->type = kValueUnsigned;
    result->unsignedValue = parentType;
    return result;
}

std::string Instruction_ParentType::ToString() const { return fmt::format("[ParentType = {:d}]", parentType); }

Value::Ptr Instruction_ValueFor::Execute(BitstreamReader&, Globals&) {
    auto result = std::make_shared<Value>();
    result->type = kValueUnsigned;
    result->unsignedValue = CurrentLoopIndex();
    result->SyncFrom(kValueUnsigned);
    return result;
}

Value::Ptr Instruction_Is3DCurve::Execute(BitstreamReader&, Globals&) {
    Logger::Log(LogLevel::Error,
                "Instruction_Is3DCurve::Execute() - checking for dimensions of curve not yet implemented!");
    return True();
}

Value::Ptr Instruction_Operator::Execute(BitstreamReader& reader, Globals& globals) {
    if (children.size() != kBinaryOperands || !children[0] || !children[1]) {
        Logger::Log(LogLevel::Error, "Instruction_Operator::Execute() - INVALID NUMBER OF OPERANDS!");
        return nullptr;
    }
    const Value::Ptr left = children[0]->Execute(reader, globals);
    const Value::Ptr right = children[1]->Execute(reader, globals);
    if (!left || !right) return nullptr;
    switch (static_cast<uint32_t>(type)) {
        case kTokenMultiply: return Value::Arithmetic(ArithmeticOp::Multiply, *left, *right);
        case kTokenDivide: return Value::Arithmetic(ArithmeticOp::Divide, *left, *right);
        case kTokenAdd: return Value::Arithmetic(ArithmeticOp::Add, *left, *right);
        case kTokenSubtract: return Value::Arithmetic(ArithmeticOp::Subtract, *left, *right);
        default: break;
    }
    Logger::Log(LogLevel::Error, "Instruction_Operator::Execute() - ERROR ON EXECUTING!");
    return nullptr;
}

Value::Ptr Instruction_Compare::Execute(BitstreamReader& reader, Globals& globals) {
    if (children.size() != kBinaryOperands || !children[0] || !children[1]) {
        Logger::Log(LogLevel::Error, "Instruction_Compare::Execute() - INVALID NUMBER OF OPERANDS!");
        return nullptr;
    }
    const Value::Ptr left = children[0]->Execute(reader, globals);
    const Value::Ptr right = children[1]->Execute(reader, globals);
    if (!left || !right) return nullptr;
    switch (static_cast<uint32_t>(type)) {
        case kTokenLess: return Value::Compare(CompareOp::Less, *left, *right, "opLT");
        case kTokenLessEqual: return Value::Compare(CompareOp::LessEqual, *left, *right, "opLE");
        case kTokenGreater: return Value::Compare(CompareOp::Greater, *left, *right, "opGT");
        case kTokenGreaterEqual: return Value::Compare(CompareOp::GreaterEqual, *left, *right, "opLT");
        case kTokenEqual: return Value::Compare(CompareOp::Equal, *left, *right, "opEQ");
        case kTokenNotEqual: return Value::Compare(CompareOp::NotEqual, *left, *right, "opNEQ");
        default: break;
    }
    Logger::Log(LogLevel::Error, "Instruction_Compare::Execute() - ERROR ON EXECUTING!");
    return nullptr;
}

Value::Ptr Instruction_Loop::Execute(BitstreamReader& reader, Globals& globals) {
    if (children.size() != kBinaryOperands || !children[0] || !children[1]) {
        Logger::Log(LogLevel::Error, "Instruction_Loop::Execute() - INVALID NUMBER OF INSTRUCTIONS!");
        return nullptr;
    }
    const Value::Ptr counter = children[0]->Execute(reader, globals);
    if (!counter || !Value::IsNumeric(counter->type)) {
        Logger::Log(LogLevel::Error, "Instruction_Loop::Execute() - FAILED TO GET LOOP COUNTER!");
        return nullptr;
    }
    for (uint32_t i = 0; i < counter->unsignedValue; ++i) {
        if (!RunBudget::Take()) return nullptr;
        CurrentLoopIndex() = i;
        if (!children[1]->Execute(reader, globals)) {
            Logger::Log(LogLevel::Error, "Instruction_Loop::Execute() - ERROR ON EXECUTING LOOP!");
            return nullptr;
        }
    }
    return True();
}

Value::Ptr Instruction_IfElse::Execute(BitstreamReader& reader, Globals& globals) {
    if ((children.size() != kIfOnly && children.size() != kIfElse) || !children[0]) {
        Logger::Log(LogLevel::Error, "Instruction_IfElse::Execute() - INVALID NUMBER OF INSTRUCTIONS!");
        return nullptr;
    }
    const Value::Ptr condition = children[0]->Execute(reader, globals);
    if (!condition) {
        Logger::Log(LogLevel::Error, "Instruction_IfElse::Execute() - ERROR ON DETERMINING CONDITION!");
        return nullptr;
    }
    if (condition->boolean) {
        if (!children[1] || !children[1]->Execute(reader, globals)) {
            Logger::Log(LogLevel::Error, "Instruction_IfElse::Execute() - ERROR ON EXECUTING IF BRANCH!");
            return nullptr;
        }
    } else if (children.size() == kIfElse) {
        if (!children[2] || !children[2]->Execute(reader, globals)) {
            Logger::Log(LogLevel::Error, "Instruction_IfElse::Execute() - ERROR ON EXECUTING ELSE BRANCH!");
            return nullptr;
        }
    }
    return True();
}

Value::Ptr Instruction_Unknown::Execute(BitstreamReader&, Globals&) { return True(); }

Instruction::Ptr CreateInstruction(uint32_t token) {
    const auto t = static_cast<int32_t>(token);
    switch (token) {
        case kTokenReadBit:
        case kTokenReadDouble:
        case kTokenReadCharacter:
        case kTokenReadUnsigned:
        case kTokenReadInteger:
        case kTokenReadString:
        case kTokenReadTwoDoubles:
        case kTokenReadThreeDoubles:
        case kTokenReadTwoDoublesB:
        case kTokenReadFourDoubles:
        case kTokenReadSixDoubles: return std::make_shared<Instruction_Read>(t);
        case kTokenParentType: return std::make_shared<Instruction_ParentType>();
        case kTokenLoop:
        case kTokenLoopImplicitCounter: return std::make_shared<Instruction_Loop>(t);
        case kTokenIf: return std::make_shared<Instruction_IfElse>();
        case kTokenBlock:
        case kTokenVersionedBlock: return std::make_shared<Instruction_Block>(t);
        case kTokenDeclare:
        case kTokenSet:
        case kTokenDeclareAndSet:
        case kTokenGet: return std::make_shared<Instruction_Global>(t);
        case kTokenConstant: return std::make_shared<Instruction_Constant>();
        case kTokenValueFor: return std::make_shared<Instruction_ValueFor>();
        case kTokenIs3DCurve: return std::make_shared<Instruction_Is3DCurve>();
        case kTokenMultiply:
        case kTokenDivide:
        case kTokenAdd:
        case kTokenSubtract: return std::make_shared<Instruction_Operator>(t);
        case kTokenLess:
        case kTokenLessEqual:
        case kTokenGreater:
        case kTokenGreaterEqual:
        case kTokenEqual:
        case kTokenNotEqual: return std::make_shared<Instruction_Compare>(t);
        case kTokenUnknown: return std::make_shared<Instruction_Unknown>();
        default: break;
    }
    Logger::Log(LogLevel::Error, "Schema::CreateInstruction - INVALID TYPE");
    return nullptr;
}

}  // namespace Velmora::PRC::Schema
