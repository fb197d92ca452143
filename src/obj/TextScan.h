#pragma once
// Line and token scanning shared by the OBJ and MTL parsers. Everything works on views into
// the file's bytes: a line costs no allocation, and numbers are read with std::from_chars,
// which ignores the locale.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora::OBJ {

// Blank, carriage return, line feed, tab and form feed separate tokens. All of them sort at or
// below the blank, so the usual character is told apart by one comparison.
constexpr bool IsSeparator(char c) {
    return static_cast<unsigned char>(c) <= ' ' && (c == ' ' || c == '\r' || c == '\n' || c == '\t' || c == '\f');
}

// The next line of text from pos on (without its line feed); pos moves past it.
std::string_view NextLine(std::string_view text, size_t& pos);

// The tokens of one line. The vector is kept between lines, so after the first few lines a
// split allocates nothing.
class LineTokens {
public:
    void Split(std::string_view line);
    // Drops the first token that begins with "#" and everything after it.
    void StripComment();
    size_t Size() const { return tokens_.size(); }
    bool Empty() const { return tokens_.empty(); }
    std::string_view operator[](size_t i) const { return tokens_[i]; }
    // Tokens from `first` on, joined by one blank (for messages and names with blanks).
    std::string Joined(size_t first = 0) const;

private:
    std::vector<std::string_view> tokens_;
};

// ASCII lower case, the classic locale's rule.
std::string Lowered(std::string_view text);
bool EndsWithLowered(std::string_view text, std::string_view suffix);

// Whole-token conversions; false for anything but one complete, finite number in range.
bool ParseDouble(std::string_view token, double& value);
bool ParseFloat(std::string_view token, float& value);
bool ParseInt(std::string_view token, int32_t& value);
bool ParseUnsigned(std::string_view token, uint32_t& value);

// The double of a token, or 0 with "Bad lexical cast from '...' - returning 0".
double DoubleOrZero(std::string_view token);
float FloatOrZero(std::string_view token);
int32_t IntOrZero(std::string_view token);

}  // namespace Velmora::OBJ
