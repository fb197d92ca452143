// Huffman-coded and bit-count-coded arrays.
//
// The Huffman code has one fixed shape: the two lightest nodes are joined again and again, the
// first taken on the left, and a root goes above the last node with that node on its right.
// Every code therefore starts with a 1 bit, so codes of different lengths also differ as
// numbers, which the reader's table keyed by the code alone needs.

#include <algorithm>
#include <bit>
#include <map>
#include <new>

#include "prc/export/BitstreamWriter.h"
#include "prc/export/ExportUtils.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kBitsPerWord = 32;
constexpr uint32_t kBitsPerByte = 8;
constexpr uint32_t kBitsPerShort = 16;
constexpr uint32_t kLowByteMask = 0xFF;
constexpr uint32_t kLengthFieldBits = 8;
constexpr uint32_t kCountFieldBits = 32;
constexpr uint32_t kMaxCodeBits = 32;
constexpr uint32_t kMaxValueBits = 16;
constexpr uint32_t kBitCountBits = 6;
constexpr uint32_t kBitCountFieldMask = (1u << kBitCountBits) - 1;
constexpr uint32_t kMaxIndexBits = 31;
constexpr int32_t kNoParent = -1;

struct TreeNode {
    uint64_t weight = 0;
    int32_t parent = kNoParent;
    bool right = false;
};

// Bits for a signed value stored as sign and magnitude; 0 when it does not fit.
uint32_t SignedBits(int32_t value) {
    const uint32_t magnitude = value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
    const uint32_t bits = 1 + static_cast<uint32_t>(std::bit_width(magnitude));
    return bits > kMaxIndexBits ? 0 : bits;
}

void WriteWords(BitstreamWriter& writer, const HuffmanArray& array) {
    writer.WriteUnsignedInteger(static_cast<uint32_t>(array.words.size()));
    for (const uint32_t word : array.words) writer.WriteU32(word);
    // A full last word is written as 0.
    writer.WriteUnsignedInteger(array.bitsInLastWord % kBitsPerWord);
}

}  // namespace

bool BitstreamWriter::CalculateHuffmanTree(const std::vector<uint32_t>& values, uint32_t bits, HuffmanTree& tree) {
    tree = HuffmanTree{};
    std::map<uint32_t, uint64_t> counts;
    for (const uint32_t value : values) ++counts[value];

    std::vector<TreeNode> nodes;
    nodes.reserve(counts.size() * 2 + 1);
    std::multimap<uint64_t, int32_t> queue;
    for (const auto& [value, count] : counts) {
        queue.emplace(count, static_cast<int32_t>(nodes.size()));
        nodes.push_back(TreeNode{count});
    }
    while (queue.size() > 1) {
        const auto first = queue.begin();
        const auto [leftWeight, left] = *first;
        queue.erase(first);
        const auto second = queue.begin();
        const auto [rightWeight, right] = *second;
        queue.erase(second);
        const auto joined = static_cast<int32_t>(nodes.size());
        nodes.push_back(TreeNode{leftWeight + rightWeight});
        nodes[size_t(left)].parent = joined;
        nodes[size_t(right)].parent = joined;
        nodes[size_t(right)].right = true;
        // Equal weights go behind those already queued: a multimap inserts at the end of the
        // range of equal keys.
        queue.emplace(leftWeight + rightWeight, joined);
    }
    if (queue.size() != 1) {
        Logger::Log(LogLevel::Error, "CalculateHuffmanTree() - unexpected number of nodes!");
        return false;
    }
    const int32_t last = queue.begin()->second;
    const auto root = static_cast<int32_t>(nodes.size());
    nodes.push_back(TreeNode{nodes[size_t(last)].weight});
    nodes[size_t(last)].parent = root;
    nodes[size_t(last)].right = true;

    std::map<uint32_t, uint32_t> byCode;
    int32_t leaf = 0;
    for (const auto& [value, count] : counts) {
        (void)count;
        if (bits < kBitsPerWord && (uint64_t{value} >> bits) != 0) {
            Logger::Log(LogLevel::Error, "BitstreamWriter::CreateHuffmanArray() - UNEXPECTED VALUE!");
            return false;
        }
        uint64_t code = 0;
        uint32_t level = 0;
        for (int32_t node = leaf; node != root; node = nodes[size_t(node)].parent, ++level) {
            if (level >= kMaxCodeBits) {
                Logger::Log(LogLevel::Error, "CalculateHuffmanTree() - code too long for the format!");
                return false;
            }
            if (nodes[size_t(node)].right) code |= uint64_t{1} << level;
        }
        HuffmanLeaf entry{value, 0, static_cast<uint32_t>(code)};
        entry.numberOfBits = std::max(1u, static_cast<uint32_t>(std::bit_width(entry.code)));
        tree.largestCode = std::max(tree.largestCode, entry.code);
        tree.largestNumberOfBits = std::max(tree.largestNumberOfBits, entry.numberOfBits);
        if (!byCode.emplace(entry.code, value).second) {
            Logger::Log(LogLevel::Error, "CalculateHuffmanTree() - unexpected failure when adding node!");
            return false;
        }
        tree.leaves.emplace(value, entry);
        ++leaf;
    }
    return true;
}

bool BitstreamWriter::CreateHuffmanArray(const std::vector<uint32_t>& values, uint32_t bits, HuffmanArray& array) {
    // Marks an array that was handed in and not yet written over.
    constexpr uint32_t kUnwrittenMarker = 0x8123;
    array.words.assign(1, kUnwrittenMarker);
    array.bitsInLastWord = 0;
    if (bits == 0 || bits > kMaxValueBits) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::CreateHuffmanArray() - UNEXPECTED VALUE!");
        return false;
    }
    HuffmanTree tree;
    if (!CalculateHuffmanTree(values, bits, tree)) return false;

    std::vector<const HuffmanLeaf*> inCodeOrder;
    inCodeOrder.reserve(tree.leaves.size());
    for (const auto& [value, leaf] : tree.leaves) inCodeOrder.push_back(&leaf);
    std::sort(inCodeOrder.begin(), inCodeOrder.end(),
              [](const HuffmanLeaf* a, const HuffmanLeaf* b) { return a->code < b->code; });

    std::vector<uint8_t> sequence;
    const auto lengthBits = static_cast<uint32_t>(std::bit_width(tree.largestNumberOfBits));
    ExportUtils::AppendField(sequence, static_cast<uint32_t>(tree.leaves.size()), bits + 1);
    ExportUtils::AppendField(sequence, lengthBits, kLengthFieldBits);
    for (const HuffmanLeaf* leaf : inCodeOrder) {
        ExportUtils::AppendField(sequence, leaf->value, bits);
        ExportUtils::AppendField(sequence, leaf->numberOfBits, lengthBits);
        ExportUtils::AppendField(sequence, leaf->code, leaf->numberOfBits);
    }
    ExportUtils::AppendField(sequence, static_cast<uint32_t>(values.size()), kCountFieldBits);
    for (const uint32_t value : values) {
        const auto found = tree.leaves.find(value);
        if (found == tree.leaves.end()) {
            Logger::Log(LogLevel::Error, "BitstreamWriter::CreateHuffmanArray() - UNEXPECTED VALUE!");
            return false;
        }
        ExportUtils::AppendCode(sequence, found->second.code, found->second.numberOfBits);
    }
    if (!ExportUtils::EncodeBitArray(sequence, array.words, array.bitsInLastWord)) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::CreateHuffmanArray() - Failed to encode bit array!");
        return false;
    }
    return true;
}

void BitstreamWriter::WriteCharacterArrayUncompressed(const std::vector<uint8_t>& array) {
    WriteUnsignedInteger(static_cast<uint32_t>(array.size()));
    for (const uint8_t value : array) WriteByte(value);
}

bool BitstreamWriter::WriteCharacterArrayCompressed(const std::vector<uint8_t>& array, uint32_t bits) {
    HuffmanArray huffman;
    if (array.empty() || !CreateHuffmanArray(std::vector<uint32_t>(array.begin(), array.end()), bits, huffman)) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteCharacterArray() - failed to create huffman array!");
        return false;
    }
    WriteWords(*this, huffman);
    return true;
}

bool BitstreamWriter::WriteCharacterArray(const std::vector<uint8_t>& array, uint32_t bits) {
    if (array.empty()) {
        WriteBit(false);
        WriteCharacterArrayUncompressed(array);
        return true;
    }
    HuffmanArray huffman;
    if (!CreateHuffmanArray(std::vector<uint32_t>(array.begin(), array.end()), bits, huffman)) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteCharacterArray() - failed to create huffman array!");
        return false;
    }
    if (uint64_t{huffman.words.size()} * kBitsPerWord < uint64_t{array.size()} * kBitsPerByte) {
        WriteBit(true);
        WriteWords(*this, huffman);
    } else {
        WriteBit(false);
        WriteCharacterArrayUncompressed(array);
    }
    return true;
}

bool BitstreamWriter::WriteShortArray(const std::vector<uint16_t>& array, uint32_t bits) {
    HuffmanArray huffman;
    const bool packed = !array.empty() &&
                        CreateHuffmanArray(std::vector<uint32_t>(array.begin(), array.end()), bits, huffman) &&
                        uint64_t{huffman.words.size()} * kBitsPerWord < uint64_t{array.size()} * kBitsPerShort;
    WriteBit(packed);
    if (packed) {
        WriteWords(*this, huffman);
        return true;
    }
    WriteUnsignedInteger(static_cast<uint32_t>(array.size()));
    for (const uint16_t value : array) {
        WriteByte(static_cast<uint8_t>(value & kLowByteMask));
        WriteByte(static_cast<uint8_t>(value >> kBitsPerByte));
    }
    return true;
}

bool BitstreamWriter::WriteCompressedIntegerArray(const std::vector<int32_t>& array) {
    std::vector<uint8_t> bitCounts(array.size());
    for (size_t i = 0; i < array.size(); ++i) {
        bitCounts[i] = static_cast<uint8_t>(SignedBits(array[i]));
        if (bitCounts[i] == 0) {
            Logger::Log(LogLevel::Error, "BitstreamWriter::WriteCompressedIntegerArray() - value too large");
            return false;
        }
    }
    if (!WriteCharacterArray(bitCounts, kBitCountBits)) return false;
    for (size_t i = 0; i < array.size(); ++i)
        if (!WriteIntegerWithVariableBitNumber(array[i], bitCounts[i])) return false;
    return true;
}

bool BitstreamWriter::CalculateIndexBitCounts(const std::vector<int32_t>& array, std::vector<uint8_t>& differences,
                                              std::vector<uint8_t>& bitCounts) {
    differences.resize(array.size());
    bitCounts.resize(array.size());
    uint32_t previous = 0;
    for (size_t i = 0; i < array.size(); ++i) {
        // Steps wrap as the reader adds them, in unsigned arithmetic.
        const auto step =
            static_cast<int32_t>(static_cast<uint32_t>(array[i]) - (i == 0 ? 0u : static_cast<uint32_t>(array[i - 1])));
        const uint32_t bits = SignedBits(step);
        if (bits == 0) {
            Logger::Log(LogLevel::Error, "BitstreamWriter::WriteCompressedIndicesArray() - step too large");
            return false;
        }
        bitCounts[i] = static_cast<uint8_t>(bits);
        const uint32_t stored = i == 0 ? bits : (bits - previous) & kBitCountFieldMask;
        differences[i] = static_cast<uint8_t>(stored);
        previous = bits;
    }
    return true;
}

bool BitstreamWriter::WriteCompressedIndicesValues(const std::vector<int32_t>& array,
                                                   const std::vector<uint8_t>& bitCounts) {
    for (size_t i = 0; i < array.size(); ++i) {
        const auto step =
            static_cast<int32_t>(static_cast<uint32_t>(array[i]) - (i == 0 ? 0u : static_cast<uint32_t>(array[i - 1])));
        if (!WriteIntegerWithVariableBitNumber(step, bitCounts[i])) return false;
    }
    return true;
}

bool BitstreamWriter::WriteCompressedIndicesArray(const std::vector<int32_t>& array) {
    std::vector<uint8_t> differences, bitCounts;
    if (!CalculateIndexBitCounts(array, differences, bitCounts)) return false;
    if (!WriteCharacterArray(differences, kBitCountBits)) return false;
    return WriteCompressedIndicesValues(array, bitCounts);
}

}  // namespace Velmora::PRC
