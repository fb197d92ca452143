#pragma once
// Reads 3D view text in PDF dictionary syntax into a Dictionary. This is not a PDF parser: the
// text is split at blanks, tabs and line ends into a flat token stream, and only keys that the
// key table of the current dictionary knows are understood; an unknown key ends that
// dictionary (and the read) with what was gathered so far.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "format/Dictionary.h"

namespace Velmora::FormatGlue {

class PDFHelper {
public:
    bool ReadDictionaryFromFile(const std::string& path, Dictionary* out);
    bool ReadDictionaryFromString(std::string_view text, Dictionary* out);
    static std::string PrintDictionary(const Dictionary& dictionary, const std::string& indent);
    static std::string PrintValue(const DictionaryValue& value, const std::string& indent);

private:
    enum class End { Closed, Stopped, Failed };

    bool Advance();
    const std::string& Token() const { return tokens_[position_]; }
    End ReadDictionary(Dictionary* out, const std::string& table);
    // How reading one value ended: read; a nested dictionary that stopped early (kept, and the
    // read ends); stopped; failed.
    enum class ValueEnd { Read, Partial, Stopped, Failed };
    ValueEnd ReadValue(const std::string& key, DictionaryValue& value);
    ValueEnd ReadNestedDictionary(const std::string& key, DictionaryValue& value);
    bool SkipStream();
    bool ReadNumbers(DictionaryValue& value);
    // A key read twice keeps its first value.
    static void InsertOnce(Dictionary* out, const std::string& key, DictionaryValue value);
    bool ReadDictionaryArray(DictionaryValue* value);
    bool ReadString(std::string* out);
    bool ReadStringArray(std::vector<std::string>* out);
    bool ReadNumberArray(std::vector<float>* out);

    std::vector<std::string> tokens_;
    uint32_t position_ = 0;
};

}  // namespace Velmora::FormatGlue
