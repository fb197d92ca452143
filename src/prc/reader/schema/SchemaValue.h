#pragma once
// One value of a running schema, all kinds in one record. After a numeric read the five
// numeric members are brought into step with the one that was read.

#include <cstdint>
#include <memory>
#include <string>

namespace Velmora::PRC::Schema {

enum ValueType : uint32_t {
    kValueBoolean = 0,
    kValueDouble = 1,
    kValueCharacter = 2,
    kValueUnsigned = 3,
    kValueInteger = 4,
    kValueString = 5,
    kValueTwoDoubles = 7,
    kValueThreeDoubles = 8,
    kValueTwoDoublesB = 9,
    kValueFourDoubles = 10,
    kValueSixDoubles = 11,
    kValueNumeric27 = 27,
    kValueNumeric28 = 28,
    kValueUndeclared = 0xFFFFFFFF,
};

enum class ArithmeticOp { Multiply, Divide, Add, Subtract };
enum class CompareOp { Less, LessEqual, Greater, GreaterEqual, Equal, NotEqual };

class Value {
public:
    using Ptr = std::shared_ptr<Value>;

    uint32_t type = kValueUndeclared;
    bool boolean = false;
    double real = 0.0;
    uint8_t character = 0;
    uint32_t unsignedValue = 0;
    int32_t integer = 0;
    std::string text;
    double doubles[6] = {0, 0, 0, 0, 0, 0};

    static bool IsNumeric(uint32_t type);
    // Bring the numeric members into step with the member of `source` type.
    void SyncFrom(uint32_t source);
    // Fill all numeric members from one double result.
    void FillFromDouble(double value);

    static Ptr Arithmetic(ArithmeticOp op, const Value& left, const Value& right);
    static Ptr Compare(CompareOp op, const Value& left, const Value& right, const char* name);
    static uint32_t GetTargetTypeForOperation(const Value& left, const Value& right);
};

}  // namespace Velmora::PRC::Schema
