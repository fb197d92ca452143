#pragma once
// Text conversions between the host's UTF-16 and the UTF-8 used inside the library, and the
// host's "system strings" (a length-prefixed UTF-16 block, see Strings.cpp).
//
// The conversions are the library's own: ill-formed input (a lone surrogate in UTF-16; an
// invalid, overlong, surrogate-encoding or truncated sequence in UTF-8) becomes U+FFFD, one
// replacement per maximal ill-formed subpart, as the Unicode standard recommends. Nothing
// throws except std::bad_alloc.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Velmora::Utility {

// UTF-16 -> UTF-8. A null pointer gives the empty string. The pointer form stops at the first
// NUL; the view form converts every code unit it is given.
std::string WideToUtf8(const char16_t* text);
std::string WideToUtf8(std::u16string_view text);

// UTF-8 -> UTF-16. A null pointer gives the empty string. The pointer form stops at the first
// NUL; the view form converts every byte it is given.
std::u16string Utf8ToWide(const char* text);
std::u16string Utf8ToWide(std::string_view text);

// ---- System strings -----------------------------------------------------------------------
// A block from malloc: a uint32_t byte length, the UTF-16 code units, a 16-bit NUL. The
// pointer handed out points at the text (just past the length), so it reads as a
// NUL-terminated char16_t string. The host frees it through the export FreeSystemString.

// Makes a system string of `length` code units (not bytes) copied from `text`. Length 0 makes
// an empty string (a valid block holding only the NUL, never null). A null `text` with a
// non-zero length gives that many zero code units. Out of memory throws std::bad_alloc.
char16_t* MakeBstr(const char16_t* text, uint32_t length);
char16_t* MakeBstr(std::u16string_view text);

// UTF-8 -> system string (through Utf8ToWide). An empty input gives an empty system string.
char16_t* MakeBstrFromUtf8(const std::string& text);
char16_t* MakeBstrFromUtf8(std::string_view text);
char16_t* MakeBstrFromUtf8(const char* text);  // null gives an empty system string

// Frees a system string made above. Null is allowed and does nothing.
void FreeSystemString(char16_t* text);

// The byte length stored in front of the text (2 x code units, without the NUL); 0 for null.
uint32_t SystemStringByteLength(const char16_t* text);
// The same in code units.
uint32_t SystemStringLength(const char16_t* text);

}  // namespace Velmora::Utility
