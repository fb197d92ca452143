#include "util/Strings.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace Velmora::Utility {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

void AppendUtf16(std::u16string& out, char32_t cp) {
    if (cp < 0x10000) {
        out.push_back(static_cast<char16_t>(cp));
    } else {
        cp -= 0x10000;
        out.push_back(static_cast<char16_t>(0xD800 | (cp >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 | (cp & 0x3FF)));
    }
}

inline bool IsHigh(char16_t c) { return c >= 0xD800 && c <= 0xDBFF; }
inline bool IsLow(char16_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

struct SystemStringHeader {
    uint32_t byteLength;
};

}  // namespace

std::string WideToUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size() + text.size() / 2);
    const size_t n = text.size();
    for (size_t i = 0; i < n; ++i) {
        char16_t c = text[i];
        if (IsHigh(c)) {
            if (i + 1 < n && IsLow(text[i + 1])) {
                char32_t cp = 0x10000 + ((static_cast<char32_t>(c) - 0xD800) << 10) +
                              (static_cast<char32_t>(text[i + 1]) - 0xDC00);
                AppendUtf8(out, cp);
                ++i;
            } else {
                AppendUtf8(out, kReplacement);
            }
        } else if (IsLow(c)) {
            AppendUtf8(out, kReplacement);
        } else {
            AppendUtf8(out, c);
        }
    }
    return out;
}

std::string WideToUtf8(const char16_t* text) {
    if (text == nullptr) return {};
    return WideToUtf8(std::u16string_view(text));
}

std::u16string Utf8ToWide(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const size_t n = text.size();
    size_t i = 0;
    while (i < n) {
        unsigned char b = s[i];
        if (b < 0x80) {
            out.push_back(b);
            ++i;
            continue;
        }
        // Lead byte: number of continuation bytes and the allowed range of the first one
        // (Unicode Table 3-7, "well-formed UTF-8 byte sequences").
        size_t need;
        unsigned char lo = 0x80, hi = 0xBF;
        char32_t cp;
        if (b >= 0xC2 && b <= 0xDF) {
            need = 1;
            cp = b & 0x1F;
        } else if (b >= 0xE0 && b <= 0xEF) {
            need = 2;
            cp = b & 0x0F;
            if (b == 0xE0) lo = 0xA0;
            if (b == 0xED) hi = 0x9F;
        } else if (b >= 0xF0 && b <= 0xF4) {
            need = 3;
            cp = b & 0x07;
            if (b == 0xF0) lo = 0x90;
            if (b == 0xF4) hi = 0x8F;
        } else {
            // 0x80..0xC1 (stray continuation, overlong lead) and 0xF5..0xFF.
            AppendUtf16(out, kReplacement);
            ++i;
            continue;
        }
        size_t j = i + 1;
        bool ok = true;
        for (size_t k = 0; k < need; ++k, ++j) {
            if (j >= n) {
                ok = false;
                break;
            }
            unsigned char c = s[j];
            unsigned char cl = (k == 0) ? lo : 0x80, ch = (k == 0) ? hi : 0xBF;
            if (c < cl || c > ch) {
                ok = false;
                break;
            }
            cp = (cp << 6) | (c & 0x3F);
        }
        if (ok) {
            AppendUtf16(out, cp);
            i = j;
        } else {
            // The maximal subpart [i, j) becomes one replacement; go on at the offending byte.
            AppendUtf16(out, kReplacement);
            i = j;
        }
    }
    return out;
}

std::u16string Utf8ToWide(const char* text) {
    if (text == nullptr) return {};
    return Utf8ToWide(std::string_view(text));
}

char16_t* MakeBstr(const char16_t* text, uint32_t length) {
    constexpr uint32_t kMaxUnits =
        (std::numeric_limits<uint32_t>::max() - sizeof(SystemStringHeader) - sizeof(char16_t)) / sizeof(char16_t);
    if (length > kMaxUnits) throw std::bad_alloc();
    const size_t bytes = static_cast<size_t>(length) * sizeof(char16_t);
    void* block = std::malloc(sizeof(SystemStringHeader) + bytes + sizeof(char16_t));
    if (block == nullptr) throw std::bad_alloc();
    auto* header = static_cast<SystemStringHeader*>(block);
    header->byteLength = static_cast<uint32_t>(bytes);
    auto* chars = reinterpret_cast<char16_t*>(header + 1);
    if (length != 0) {
        if (text != nullptr) {
            std::memcpy(chars, text, bytes);
        } else {
            std::memset(chars, 0, bytes);
        }
    }
    chars[length] = u'\0';
    return chars;
}

char16_t* MakeBstr(std::u16string_view text) {
    if (text.size() > std::numeric_limits<uint32_t>::max()) throw std::bad_alloc();
    return MakeBstr(text.data(), static_cast<uint32_t>(text.size()));
}

char16_t* MakeBstrFromUtf8(std::string_view text) { return MakeBstr(std::u16string_view(Utf8ToWide(text))); }

char16_t* MakeBstrFromUtf8(const std::string& text) { return MakeBstrFromUtf8(std::string_view(text)); }

char16_t* MakeBstrFromUtf8(const char* text) {
    return MakeBstrFromUtf8(text == nullptr ? std::string_view() : std::string_view(text));
}

void FreeSystemString(char16_t* text) {
    if (text == nullptr) return;
    std::free(reinterpret_cast<SystemStringHeader*>(text) - 1);
}

uint32_t SystemStringByteLength(const char16_t* text) {
    if (text == nullptr) return 0;
    return (reinterpret_cast<const SystemStringHeader*>(text) - 1)->byteLength;
}

uint32_t SystemStringLength(const char16_t* text) { return SystemStringByteLength(text) / sizeof(char16_t); }

}  // namespace Velmora::Utility
