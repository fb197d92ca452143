#pragma once
// The instruction tree of a schema. Running an instruction against a reader gives a Value;
// instructions that exist only for their effect give a boolean true, and an empty pointer is
// failure.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "prc/reader/schema/SchemaValue.h"

namespace Velmora::PRC {
class BitstreamReader;
}

namespace Velmora::PRC::Schema {

using Globals = std::map<uint32_t, Value::Ptr>;

// Tokens of the schema language.
enum Token : uint32_t {
    kTokenReadBit = 0,
    kTokenReadDouble = 1,
    kTokenReadCharacter = 2,
    kTokenReadUnsigned = 3,
    kTokenReadInteger = 4,
    kTokenReadString = 5,
    kTokenParentType = 6,
    kTokenReadTwoDoubles = 7,
    kTokenReadThreeDoubles = 8,
    kTokenReadTwoDoublesB = 9,
    kTokenReadFourDoubles = 10,
    kTokenReadSixDoubles = 11,
    kTokenLoop = 15,
    kTokenLoopImplicitCounter = 16,
    kTokenIf = 17,
    kTokenElse = 18,
    kTokenBlock = 19,
    kTokenVersionedBlock = 20,
    kTokenBlockEnd = 21,
    kTokenDeclare = 22,
    kTokenSet = 23,
    kTokenDeclareAndSet = 24,
    kTokenGet = 25,
    kTokenConstant = 26,
    kTokenValueFor = 27,
    kTokenIs3DCurve = 28,
    kTokenMultiply = 29,
    kTokenDivide = 30,
    kTokenAdd = 31,
    kTokenSubtract = 32,
    kTokenLess = 33,
    kTokenLessEqual = 34,
    kTokenGreater = 35,
    kTokenGreaterEqual = 36,
    kTokenEqual = 37,
    kTokenNotEqual = 38,
    kTokenUnknown = 39,
};

constexpr uint32_t kUnset = 0xFFFFFFFF;

// Shared by every run: each pass of each loop overwrites it.
uint32_t& CurrentLoopIndex();

class Instruction {
public:
    using Ptr = std::shared_ptr<Instruction>;
    explicit Instruction(int32_t t) : type(t) {}
    virtual ~Instruction() = default;
    virtual Value::Ptr Execute(BitstreamReader& reader, Globals& globals) = 0;
    virtual std::string ToString() const { return {}; }

    int32_t type;
    std::vector<Ptr> children;

protected:
    static Value::Ptr True();
};

class Instruction_Block : public Instruction {
public:
    explicit Instruction_Block(int32_t t) : Instruction(t) {}
    Value::Ptr Execute(BitstreamReader& reader, Globals& globals) override;
    std::string ToString() const override;
    uint32_t version = 0;
};

class Instruction_Read : public Instruction {
public:
    explicit Instruction_Read(int32_t t) : Instruction(t) {}
    Value::Ptr Execute(BitstreamReader& reader, Globals& globals) override;
};

class Instruction_Global : public Instruction {
public:
    explicit Instruction_Global(int32_t t) : Instruction(t) {}
    Value::Ptr Execute(BitstreamReader& reader, Globals& globals) override;
    std::string ToString() const override;
    uint32_t index = kUnset;

private:
    Value::Ptr Declare(Globals& globals);
    Value::Ptr Set(BitstreamReader& reader, Globals& globals);
    Value::Ptr Get(Globals& globals);
};

class Instruction_Constant : public Instruction {
public:
    Instruction_Constant() : Instruction(kTokenReadUnsigned) {}
    Value::Ptr Execute(BitstreamReader& reader, Globals& globals) override;
    std::string ToString() const override;
    uint32_t value = kUnset;
};

class Instruction_ParentType : public Instruction {
public:
    Instruction_ParentType() : Instruction(kTokenParentType) {}
    Value::Ptr Execute(BitstreamReader& reader, Globals& globals) override;
    std::string ToString() const override;
    uint32_t parentType = kUnset;
};

class Instruction_ValueFor : public Instruction {
public:
    Instruction_ValueFor() : Instruction(kTokenValueFor) {}
    Value::Ptr Execute(BitstreamReader& reader, Globals& globals) override;
};

class Instruction_Is3DCurve : public Instruction {
public:
    Instruction_Is3DCurve() : Instruction(kTokenIs3DCurve) {}
    Value::Ptr Execute(BitstreamReader& reader, Globals& globals) override;
};

class Instruction_Operator : public Instruction {
public:
    explicit Instruction_Operator(int32_t t) : Instruction(t) {}
    Value::Ptr Execute(BitstreamReader& reader, Globals& globals) override;
};

class Instruction_Compare : public Instruction {
public:
    explicit Instruction_Compare(int32_t t) : Instruction(t) {}
    Value::Ptr Execute(BitstreamReader& reader, Globals& globals) override;
};

class Instruction_Loop : public Instruction {
public:
    explicit Instruction_Loop(int32_t t) : Instruction(t) {}
    Value::Ptr Execute(BitstreamReader& reader, Globals& globals) override;
};

class Instruction_IfElse : public Instruction {
public:
    Instruction_IfElse() : Instruction(kTokenIf) {}
    Value::Ptr Execute(BitstreamReader& reader, Globals& globals) override;
};

class Instruction_Unknown : public Instruction {
public:
    Instruction_Unknown() : Instruction(kTokenUnknown) {}
    Value::Ptr Execute(BitstreamReader& reader, Globals& globals) override;
    std::string ToString() const override { return "[Unknown Instruction]"; }
};

// The class for a token, or null (with its message) for a token outside the table.
Instruction::Ptr CreateInstruction(uint32_t token);

}  // namespace Velmora::PRC::Schema
