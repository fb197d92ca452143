#include "prc/export/ExportUtils.h"

namespace Velmora::PRC::ExportUtils {

namespace {
constexpr uint32_t kBitsPerWord = 32;
}

bool EncodeBitArray(const std::vector<uint8_t>& bits, std::vector<uint32_t>& words, uint32_t& bitsInLastWord) {
    words.clear();
    bitsInLastWord = 0;
    if (bits.empty()) return false;
    words.assign((bits.size() + kBitsPerWord - 1) / kBitsPerWord, 0u);
    for (size_t i = 0; i < bits.size(); ++i)
        if (bits[i]) words[i / kBitsPerWord] |= 1u << (i % kBitsPerWord);
    const auto rest = static_cast<uint32_t>(bits.size() % kBitsPerWord);
    bitsInLastWord = rest == 0 ? kBitsPerWord : rest;
    return true;
}

void AppendField(std::vector<uint8_t>& bits, uint32_t value, uint32_t width) {
    for (uint32_t i = 0; i < width; ++i) bits.push_back(static_cast<uint8_t>((value >> i) & 1u));
}

void AppendCode(std::vector<uint8_t>& bits, uint32_t value, uint32_t width) {
    for (uint32_t i = width; i > 0; --i) bits.push_back(static_cast<uint8_t>((value >> (i - 1)) & 1u));
}

}  // namespace Velmora::PRC::ExportUtils
