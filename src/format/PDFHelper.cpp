#include "format/PDFHelper.h"

#include <charconv>
#include <cstdio>
#include <map>

#include "util/Logger.h"

namespace Velmora::FormatGlue {

using Utility::Logger;
using Utility::LogLevel;
using Tag = DictionaryValue::Tag;

namespace {

using KeyTable = std::map<std::string, Tag, std::less<>>;

// How many numbers each array value holds.
constexpr size_t kColorNumbers = 3;
constexpr size_t kRectangleNumbers = 4;
constexpr size_t kMatrixNumbers = 12;

const std::map<std::string, KeyTable, std::less<>>& KeyTables() {
    static const std::map<std::string, KeyTable, std::less<>> tables = {
        {"__root",
         {{"Type", Tag::Name},
          {"TYPE", Tag::Name},
          {"XN", Tag::String},
          {"IN", Tag::String},
          {"MS", Tag::Name},
          {"C2W", Tag::Matrix},
          {"U3DPath", Tag::StringArray},
          {"CO", Tag::Float},
          {"P", Tag::DictionaryTag},
          {"O", Tag::Stream},
          {"BG", Tag::DictionaryTag},
          {"RM", Tag::DictionaryTag},
          {"LS", Tag::DictionaryTag},
          {"SA", Tag::StringArray},
          {"NA", Tag::DictionaryArray},
          {"NR", Tag::Bool},
          {"MA", Tag::StringArray},
          {"3DB", Tag::Rectangle}}},
        {"BG",
         {{"Type", Tag::Name}, {"Subtype", Tag::Name}, {"CS", Tag::StringArray}, {"C", Tag::Color}, {"EA", Tag::Bool}}},
        {"LS", {{"Type", Tag::Name}, {"Subtype", Tag::Name}}},
        {"RM",
         {{"Type", Tag::Name},
          {"Subtype", Tag::Name},
          {"AC", Tag::StringArray},
          {"FC", Tag::StringArray},
          {"O", Tag::Float},
          {"CV", Tag::Float}}},
        {"P",
         {{"Subtype", Tag::Name},
          {"CS", Tag::Name},
          {"F", Tag::Float},
          {"N", Tag::Float},
          {"FOV", Tag::Float},
          {"PS", Tag::ContextSpecific},
          {"OS", Tag::Float},
          {"OB", Tag::Name}}},
        {"NA",
         {{"Type", Tag::Name},
          {"N", Tag::String},
          {"O", Tag::Float},
          {"V", Tag::Bool},
          {"M", Tag::Matrix},
          {"Instance", Tag::Name},
          {"Data", Tag::String},
          {"RM", Tag::DictionaryTag}}},
    };
    return tables;
}

const KeyTable& FindTable(const std::string& name) {
    const auto& tables = KeyTables();
    auto it = tables.find(name);
    if (it == tables.end()) {
        Logger::Log(LogLevel::Error, "Cannot find dictionary table for '%s'", name.c_str());
        return tables.find("__root")->second;
    }
    return it->second;
}

bool IsSeparator(char c) { return c == ' ' || c == '\r' || c == '\n' || c == '\t'; }

// Text to number as a lexical cast would take it: the whole token must convert. A leading '+'
// is accepted, which std::from_chars alone would refuse.
template <typename T>
bool ParseNumber(std::string_view token, T* out) {
    if (!token.empty() && token.front() == '+') token.remove_prefix(1);
    if (token.empty()) return false;
    T value{};
    auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), value);
    if (error != std::errc() || end != token.data() + token.size()) return false;
    *out = value;
    return true;
}

template <typename T>
T LexicalNumber(std::string_view token) {
    T value{};
    if (!ParseNumber(token, &value)) {
        Logger::LogF(LogLevel::Error, "Bad lexical cast from '{:s}' - returning 0", token);
        return T{};
    }
    return value;
}

// Counts the parentheses that are not escaped by a backslash.
void CountParentheses(std::string_view text, int* opening, int* closing) {
    for (size_t i = 0; i < text.size(); ++i) {
        if (i > 0 && text[i - 1] == '\\') continue;
        if (text[i] == '(') ++*opening;
        if (text[i] == ')') ++*closing;
    }
}

std::string DropParentheses(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        bool escaped = i > 0 && text[i - 1] == '\\';
        if ((text[i] == '(' || text[i] == ')') && !escaped) continue;
        result.push_back(text[i]);
    }
    return result;
}

std::string FormatNumber(double value) { return fmt::format("{:.9g}", value); }

}  // namespace

bool PDFHelper::Advance() {
    if (position_ + 1 >= tokens_.size()) {
        Logger::Log(LogLevel::Error, "Advanced beyond the end of the dictionary!");
        return false;
    }
    ++position_;
    return true;
}

bool PDFHelper::ReadDictionaryFromFile(const std::string& path, Dictionary* out) {
    std::FILE* file = std::fopen(path.c_str(), "rt");
    if (file == nullptr) return false;
    std::string text;
    char buffer[8192];
    size_t count;
    while ((count = std::fread(buffer, 1, sizeof(buffer), file)) > 0) text.append(buffer, count);
    std::fclose(file);
    return ReadDictionaryFromString(text, out);
}

bool PDFHelper::ReadDictionaryFromString(std::string_view text, Dictionary* out) {
    tokens_.clear();
    position_ = 0;
    size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && IsSeparator(text[i])) ++i;
        size_t start = i;
        while (i < text.size() && !IsSeparator(text[i])) ++i;
        if (i > start) tokens_.emplace_back(text.substr(start, i - start));
    }
    if (tokens_.empty()) return false;
    tokens_.emplace_back("__EOF");
    // A view text often keeps the outer brackets of its PDF object; they carry no key.
    if (tokens_.front() == "<<") position_ = 1;
    return ReadDictionary(out, "__root") != End::Failed;
}

PDFHelper::End PDFHelper::ReadDictionary(Dictionary* out, const std::string& tableName) {
    const KeyTable& table = FindTable(tableName);
    for (;;) {
        const std::string& token = Token();
        if (token.rfind(">>", 0) == 0) return End::Closed;
        std::string key = token[0] == '/' ? token.substr(1) : token;
        if (key.empty()) return End::Failed;
        if (key == "__EOF") return End::Stopped;
        auto entry = table.find(key);
        if (entry == table.end()) return End::Stopped;
        if (!Advance()) return End::Stopped;

        DictionaryValue value;
        value.tag = entry->second;
        switch (ReadValue(key, value)) {
            case ValueEnd::Read: InsertOnce(out, key, std::move(value)); break;
            case ValueEnd::Partial:
                // The nested text ended early: keep what it gave, read no further.
                out->Insert(key, std::move(value));
                return End::Stopped;
            case ValueEnd::Stopped: return End::Stopped;
            case ValueEnd::Failed: return End::Failed;
        }
        if (!Advance()) return End::Stopped;
    }
}

void PDFHelper::InsertOnce(Dictionary* out, const std::string& key, DictionaryValue value) {
    if (out->Find(key) != nullptr) {
        Logger::Log(LogLevel::Warning, "Cannot add key-value pair ('%s'-'%s') - DUPLICATE!", key.c_str(),
                    PrintValue(value, "").c_str());
        return;
    }
    out->Insert(key, std::move(value));
}

PDFHelper::ValueEnd PDFHelper::ReadValue(const std::string& key, DictionaryValue& value) {
    const std::string& valueToken = Token();
    switch (value.tag) {
        case Tag::Bool:
            if (valueToken != "true" && valueToken != "false") return ValueEnd::Stopped;
            value.boolValue = valueToken == "true";
            return ValueEnd::Read;
        case Tag::Int: value.intValue = LexicalNumber<int32_t>(valueToken); return ValueEnd::Read;
        case Tag::Float: value.floatValue = LexicalNumber<float>(valueToken); return ValueEnd::Read;
        case Tag::String: return ReadString(&value.text) ? ValueEnd::Read : ValueEnd::Stopped;
        case Tag::StringArray: return ReadStringArray(&value.strings) ? ValueEnd::Read : ValueEnd::Stopped;
        case Tag::Name: value.text = valueToken.substr(1); return ValueEnd::Read;
        case Tag::Stream: return SkipStream() ? ValueEnd::Read : ValueEnd::Stopped;
        case Tag::Color:
        case Tag::Rectangle:
        case Tag::Matrix: return ReadNumbers(value) ? ValueEnd::Read : ValueEnd::Stopped;
        case Tag::DictionaryTag: return ReadNestedDictionary(key, value);
        case Tag::DictionaryArray: return ReadDictionaryArray(&value) ? ValueEnd::Read : ValueEnd::Failed;
        case Tag::ContextSpecific: value.text = valueToken; return ValueEnd::Read;
        default:
            Logger::Log(LogLevel::Error, "Unsupported type found when reading dictionary!");
            return ValueEnd::Failed;
    }
}

bool PDFHelper::SkipStream() {
    if (Token() != "stream") return false;
    while (Token() != "endstream") {
        if (!Advance()) return false;
    }
    return true;
}

// A colour is one grey level or three components; a rectangle four numbers; a matrix twelve
// numbers, which fill the first three columns of four rows (the fourth column is 0, 0, 0, 1).
bool PDFHelper::ReadNumbers(DictionaryValue& value) {
    std::vector<float> numbers;
    if (!ReadNumberArray(&numbers)) return false;
    switch (value.tag) {
        case Tag::Color:
            if (numbers.size() == 1) {
                value.numbers[0] = value.numbers[1] = value.numbers[2] = numbers[0];
                return true;
            }
            if (numbers.size() != kColorNumbers) return false;
            break;
        case Tag::Rectangle:
            if (numbers.size() != kRectangleNumbers) return false;
            break;
        default:
            if (numbers.size() != kMatrixNumbers) return false;
            for (int row = 0; row < 4; ++row) {
                for (int column = 0; column < 3; ++column) value.numbers[row * 4 + column] = numbers[row * 3 + column];
                value.numbers[row * 4 + 3] = row == 3 ? 1.0f : 0.0f;
            }
            return true;
    }
    std::copy(numbers.begin(), numbers.end(), value.numbers.begin());
    return true;
}

PDFHelper::ValueEnd PDFHelper::ReadNestedDictionary(const std::string& key, DictionaryValue& value) {
    if (Token() != "<<" || !Advance()) return ValueEnd::Stopped;
    value.dictionaries.emplace_back();
    switch (ReadDictionary(&value.dictionaries.back(), key)) {
        case End::Failed: return ValueEnd::Failed;
        case End::Stopped: return ValueEnd::Partial;
        case End::Closed: break;
    }
    return ValueEnd::Read;
}

bool PDFHelper::ReadString(std::string* out) {
    std::string text = Token();
    int opening = 0, closing = 0;
    CountParentheses(text, &opening, &closing);
    while (opening > closing) {
        if (!Advance()) return false;
        const std::string& next = Token();
        if (next == "__EOF" && position_ + 1 == tokens_.size()) return false;
        text.push_back(' ');
        text += next;
        CountParentheses(next, &opening, &closing);
    }
    *out = DropParentheses(text);
    return true;
}

bool PDFHelper::ReadStringArray(std::vector<std::string>* out) {
    out->clear();
    if (Token().empty() || Token()[0] != '[') {
        std::string single;
        if (!ReadString(&single)) return false;
        out->push_back(std::move(single));
        return true;
    }
    // Strings inside the brackets may span tokens like any other string; the token that
    // holds the closing bracket ends the array.
    std::string pending;
    int opening = 0, closing = 0;
    std::string rest = Token().substr(1);
    for (;;) {
        size_t bracket = std::string::npos;
        if (opening == closing) bracket = rest.find(']');
        std::string_view part =
            bracket == std::string::npos ? std::string_view(rest) : std::string_view(rest).substr(0, bracket);
        if (!part.empty()) {
            if (!pending.empty()) pending.push_back(' ');
            pending.append(part);
            CountParentheses(part, &opening, &closing);
            if (opening <= closing) {
                out->push_back(DropParentheses(pending));
                pending.clear();
                opening = closing = 0;
            }
        }
        if (bracket != std::string::npos) return true;
        if (!Advance()) return false;
        if (Token() == "__EOF" && position_ + 1 == tokens_.size()) return false;
        rest = Token();
    }
}

bool PDFHelper::ReadNumberArray(std::vector<float>* out) {
    out->clear();
    if (Token().empty() || Token()[0] != '[') return false;
    for (bool first = true;; first = false) {
        std::string_view token = Token();
        if (first) token.remove_prefix(1);
        size_t bracket = token.find(']');
        std::string_view number = token.substr(0, bracket);
        if (!number.empty()) out->push_back(LexicalNumber<float>(number));
        if (bracket != std::string_view::npos) return true;
        if (out->size() > 64) return false;  // no view value has more numbers than a matrix
        if (!Advance()) return false;
    }
}

bool PDFHelper::ReadDictionaryArray(DictionaryValue* value) {
    const std::string& token = Token();
    if (token.empty() || token[0] != '[') return false;
    std::string_view rest = std::string_view(token).substr(1);
    if (rest == "]") return true;
    if (rest.rfind("<<", 0) == 0) {
        Logger::Log(LogLevel::Error, "PDFHelper::ReadDictionaryArray() - << >> not implemented yet!");
        return false;
    }
    // References to other PDF objects: nothing this reader can follow.
    while (Token().find(']') == std::string::npos) {
        if (!Advance()) return false;
        if (Token() == "<<") {
            Logger::Log(LogLevel::Error, "PDFHelper::ReadDictionaryArray() - << >> not implemented yet!");
            return false;
        }
    }
    value->dictionaries.clear();
    Logger::Log(LogLevel::Warning, "PDFHelper::ReadDictionaryArray() - Ignored PDF node entries for dictionary 'NA'");
    return true;
}

std::string PDFHelper::PrintValue(const DictionaryValue& value, const std::string& indent) {
    auto numbers = [&](const char* head, size_t count) {
        std::string text = head;
        for (size_t i = 0; i < count; ++i) {
            if (i > 0) text += ", ";
            text += FormatNumber(value.numbers[i]);
        }
        return text + " )";
    };
    switch (value.tag) {
        case Tag::Bool: return value.boolValue ? "true" : "false";
        case Tag::Int: return std::to_string(value.intValue);
        case Tag::Float: return FormatNumber(value.floatValue);
        case Tag::String: return "\"" + value.text + "\"";
        case Tag::StringArray: {
            std::string text = "[";
            for (size_t i = 0; i < value.strings.size(); ++i) {
                if (i > 0) text += ", ";
                text += "\"" + value.strings[i] + "\"";
            }
            return text + "]";
        }
        case Tag::Name: return value.text;
        case Tag::Stream: return "<STREAM>";
        case Tag::Color: return numbers("Color( ", 3);
        case Tag::Rectangle: return numbers("Rectangle( ", 4);
        case Tag::Matrix: return numbers("Matrix( ", 16);
        case Tag::DictionaryTag:
            return value.AsDictionary() ? PrintDictionary(*value.AsDictionary(), indent) : "<INVALID>";
        case Tag::DictionaryArray: {
            std::string text = "[";
            for (size_t i = 0; i < value.dictionaries.size(); ++i) {
                if (i > 0) text += ", ";
                text += PrintDictionary(value.dictionaries[i], indent);
            }
            return text + "]";
        }
        case Tag::ContextSpecific: return "<CONTEXT_SPECIFIC> " + value.text;
        default: return "<INVALID>";
    }
}

std::string PDFHelper::PrintDictionary(const Dictionary& dictionary, const std::string& indent) {
    std::string inner = indent + "    ";
    std::string text = "Dictionary:\n" + indent + "{\n";
    for (const auto& [key, value] : dictionary.Entries()) {
        text += inner + key + " : " + PrintValue(value, inner) + "\n";
    }
    return text + indent + "}";
}

}  // namespace Velmora::FormatGlue
