#pragma once
// Small helpers of the writer that have no state of their own.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velmora::PRC::ExportUtils {

// Packs a sequence of bits (one per byte, 0 or 1) into 32-bit words, each filled from its bit
// 0 upward; bitsInLastWord takes the bits used in the last word (1 to 32). False for an empty
// sequence.
bool EncodeBitArray(const std::vector<uint8_t>& bits, std::vector<uint32_t>& words, uint32_t& bitsInLastWord);

// Appends `width` bits of value, least significant first, to a bit sequence.
void AppendField(std::vector<uint8_t>& bits, uint32_t value, uint32_t width);

// Appends `width` bits of value, most significant first.
void AppendCode(std::vector<uint8_t>& bits, uint32_t value, uint32_t width);

}  // namespace Velmora::PRC::ExportUtils
