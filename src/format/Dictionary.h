#pragma once
// Parsed view text: a tree of typed values read from PDF dictionary syntax.

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Velmora::FormatGlue {

class Dictionary;

struct DictionaryValue {
    enum Tag : uint32_t {
        Invalid = 0,
        Bool = 1,
        Int = 2,
        Float = 3,
        String = 4,
        StringArray = 5,
        Name = 6,
        Stream = 7,
        Color = 8,
        Rectangle = 9,
        Matrix = 10,
        DictionaryTag = 11,
        DictionaryArray = 12,
        ContextSpecific = 13,
    };

    Tag tag = Invalid;
    bool boolValue = false;
    int32_t intValue = 0;
    float floatValue = 0.0f;
    std::string text;                      // String, Name, ContextSpecific
    std::vector<std::string> strings;      // StringArray
    std::array<float, 16> numbers{};       // Color (3), Rectangle (4), Matrix (16, row by row)
    std::vector<Dictionary> dictionaries;  // Dictionary (one entry) or DictionaryArray

    const Dictionary* AsDictionary() const;
};

// Ordered by key bytes; a duplicate key is refused.
class Dictionary {
public:
    bool Insert(const std::string& key, DictionaryValue value);
    const DictionaryValue* Find(const std::string& key) const;
    // The value of `key` if present and of tag `tag`, else null.
    const DictionaryValue* Find(const std::string& key, DictionaryValue::Tag tag) const;
    bool Empty() const { return entries_.empty(); }
    size_t Size() const { return entries_.size(); }
    void Clear() { entries_.clear(); }
    const std::map<std::string, DictionaryValue>& Entries() const { return entries_; }

private:
    std::map<std::string, DictionaryValue> entries_;
};

}  // namespace Velmora::FormatGlue
