#include "prc/reader/schema/SchemaValue.h"

#include <cmath>
#include <limits>

#include "util/Logger.h"

namespace Velmora::PRC::Schema {

using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kLowByte = 0xFF;

// Truncation toward zero that stays defined for values outside the target range.
template <typename T>
T Truncate(double value) {
    if (std::isnan(value)) return 0;
    const double t = std::trunc(value);
    if (t <= static_cast<double>(std::numeric_limits<T>::min())) return std::numeric_limits<T>::min();
    if (t >= static_cast<double>(std::numeric_limits<T>::max())) return std::numeric_limits<T>::max();
    return static_cast<T>(t);
}

const char* ArithmeticName(ArithmeticOp op) {
    switch (op) {
        case ArithmeticOp::Multiply: return "SchemaValue::op*() - INVALID DATA!";
        case ArithmeticOp::Divide: return "SchemaValue::op/() - INVALID DATA!";
        case ArithmeticOp::Add: return "SchemaValue::op+() - INVALID DATA!";
        case ArithmeticOp::Subtract: return "SchemaValue::op-() - INVALID DATA!";
    }
    return "";
}

}  // namespace

bool Value::IsNumeric(uint32_t type) {
    return type <= kValueInteger || type == kValueNumeric27 || type == kValueNumeric28;
}

void Value::SyncFrom(uint32_t source) {
    switch (source) {
        case kValueBoolean:
            real = boolean ? 1.0 : 0.0;
            character = boolean ? 1 : 0;
            unsignedValue = boolean ? 1 : 0;
            integer = boolean ? 1 : 0;
            break;
        case kValueDouble:
            boolean = real != 0.0 || std::isnan(real);
            character = static_cast<uint8_t>(static_cast<uint32_t>(Truncate<int64_t>(real)) & kLowByte);
            unsignedValue = static_cast<uint32_t>(Truncate<int64_t>(real));
            integer = Truncate<int32_t>(real);
            break;
        case kValueCharacter:
            boolean = character != 0;
            real = character;
            unsignedValue = character;
            integer = character;
            break;
        case kValueUnsigned:
            boolean = unsignedValue != 0;
            real = unsignedValue;
            character = static_cast<uint8_t>(unsignedValue & kLowByte);
            integer = static_cast<int32_t>(unsignedValue);
            break;
        case kValueInteger:
            boolean = integer != 0;
            real = integer;
            character = static_cast<uint8_t>(static_cast<uint32_t>(integer) & kLowByte);
            unsignedValue = static_cast<uint32_t>(integer);
            break;
        default: break;
    }
}

void Value::FillFromDouble(double value) {
    real = value;
    boolean = value != 0.0 || std::isnan(value);
    character = static_cast<uint8_t>(static_cast<uint32_t>(Truncate<int64_t>(value)) & kLowByte);
    integer = Truncate<int32_t>(value);
    unsignedValue = static_cast<uint32_t>(Truncate<int64_t>(value));
}

uint32_t Value::GetTargetTypeForOperation(const Value& left, const Value& right) {
    if (IsNumeric(left.type)) return left.type;
    if (IsNumeric(right.type)) return right.type;
    Logger::Log(LogLevel::Error, "Value::GetTargetTypeForOperation() - FAILED TO DETERMINE!");
    return kValueDouble;
}

Value::Ptr Value::Arithmetic(ArithmeticOp op, const Value& left, const Value& right) {
    if (!IsNumeric(left.type) || !IsNumeric(right.type)) {
        Logger::Log(LogLevel::Error, "%s", ArithmeticName(op));
        return nullptr;
    }
    double result = 0.0;
    switch (op) {
        case ArithmeticOp::Multiply: result = left.real * right.real; break;
        case ArithmeticOp::Divide: result = left.real / right.real; break;
        case ArithmeticOp::Add: result = left.real + right.real; break;
        case ArithmeticOp::Subtract: result = left.real - right.real; break;
    }
    auto value = std::make_shared<Value>();
    value->type = GetTargetTypeForOperation(left, right);
    value->FillFromDouble(result);
    return value;
}

Value::Ptr Value::Compare(CompareOp op, const Value& left, const Value& right, const char* name) {
    if (!IsNumeric(left.type) || !IsNumeric(right.type)) {
        Logger::Log(LogLevel::Error, "SchemaValue::%s() - INVALID DATA!", name);
        return nullptr;
    }
    const double a = left.real, b = right.real;
    bool result = false;
    switch (op) {
        case CompareOp::Less: result = a < b; break;
        case CompareOp::LessEqual: result = a <= b; break;
        case CompareOp::Greater: result = a > b; break;
        case CompareOp::GreaterEqual: result = a >= b; break;
        case CompareOp::Equal: result = a == b; break;
        case CompareOp::NotEqual: result = !(a == b); break;
    }
    auto value = std::make_shared<Value>();
    value->type = kValueBoolean;
    value->boolean = result;
    value->SyncFrom(kValueBoolean);
    return value;
}

}  // namespace Velmora::PRC::Schema
