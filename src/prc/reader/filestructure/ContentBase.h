#pragma once
// The common part of nearly all entities: attributes, name and identifiers.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Velmora::PRC::FileStructure {

enum class TitleKind : uint32_t { Number = 1, String = 2 };
enum class AttributeKeyType : uint32_t { Integer = 1, Double = 2, Unsigned = 3, String = 4 };

struct AttributeTitle {
    TitleKind kind = TitleKind::String;
    uint32_t number = 0;
    std::string text;
};

struct AttributeEntry {
    AttributeTitle title;
    AttributeKeyType keyType = AttributeKeyType::Integer;
    int32_t integer = 0;
    double real = 0.0;
    uint32_t unsignedValue = 0;
    std::string text;
};

struct Attribute {
    AttributeTitle title;
    std::vector<AttributeEntry> entries;
};

struct ContentPRCBase {
    uint32_t type = 0;
    std::string name;
    std::vector<Attribute> attributes;
    uint32_t cadIdentifier = 0;
    uint32_t cadPersistentIdentifier = 0;
    uint32_t uniqueIdentifier = 0;
};

// Layer, line style and behaviour of an entity that is drawn.
struct Graphics {
    int32_t layerIndex = -1;
    int32_t lineStyleIndex = -1;
    uint16_t behaviourBits = 1;
};

// A block of bits kept as it came.
struct UserData {
    uint32_t bitCount = 0;
    std::shared_ptr<std::vector<uint8_t>> bytes;
};

struct UniqueID {
    uint32_t words[4] = {0, 0, 0, 0};
};

}  // namespace Velmora::PRC::FileStructure
