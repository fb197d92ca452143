// Huffman-coded and bit-count-coded arrays.

#include <map>

#include "prc/reader/BitstreamReader.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kBitsPerWord = 32;
constexpr uint32_t kBitsPerByte = 8;
constexpr uint32_t kBitsPerShort = 16;
constexpr uint32_t kLengthFieldBits = 8;
constexpr uint32_t kCountFieldBits = 32;
constexpr uint32_t kBitCountBits = 6;
constexpr int32_t kBitCountSignLimit = 31;  // six-bit differences above this are negative
constexpr int32_t kBitCountRange = 64;
constexpr uint32_t kMaxIndexBits = 31;
constexpr uint32_t kMaxHuffmanValueBits = 16;

// The Huffman table and data as one sequence of bits, each word from its bit 0 upward.
class BitSequence {
public:
    BitSequence(const std::vector<uint32_t>& words, uint32_t bitsInLastWord) {
        bits_.reserve(words.size() * kBitsPerWord);
        for (size_t w = 0; w < words.size(); ++w) {
            const uint32_t count = w + 1 == words.size() ? bitsInLastWord : kBitsPerWord;
            for (uint32_t b = 0; b < count; ++b) bits_.push_back(static_cast<uint8_t>((words[w] >> b) & 1u));
        }
    }
    size_t Left() const { return bits_.size() - next_; }
    bool Next(uint32_t& bit) {
        if (next_ >= bits_.size()) return false;
        bit = bits_[next_++];
        return true;
    }
    // A field whose first bit is its least significant.
    bool Field(uint32_t width, uint32_t& value) {
        value = 0;
        if (width > kBitsPerWord || Left() < width) return false;
        for (uint32_t i = 0; i < width; ++i) value |= static_cast<uint32_t>(bits_[next_++]) << i;
        return true;
    }

private:
    std::vector<uint8_t> bits_;
    size_t next_ = 0;
};

bool HuffmanTableFailure() {
    Logger::Log(LogLevel::Error, "BitstreamReader::DecodeHuffman() - DECODING ERROR");
    return false;
}

}  // namespace

bool BitstreamReader::DecodeHuffman(std::vector<uint16_t>& array, uint32_t bits, const std::vector<uint32_t>& words,
                                    uint32_t bitsInLastWord) {
    if (!array.empty()) {
        Logger::Log(LogLevel::Error, "BitstreamReader::DecodeHuffman() - NON-EMPTY ARRAY PASSED!");
        return false;
    }
    if (words.empty() || bitsInLastWord > kBitsPerWord || bits > kMaxHuffmanValueBits) return false;
    BitSequence sequence(words, bitsInLastWord);

    uint32_t numberOfLeaves = 0, lengthBits = 0;
    if (!sequence.Field(bits + 1, numberOfLeaves) || !sequence.Field(kLengthFieldBits, lengthBits))
        return HuffmanTableFailure();
    if (static_cast<uint64_t>(numberOfLeaves) * (bits + lengthBits) > sequence.Left()) return HuffmanTableFailure();

    std::map<uint32_t, HuffmanNode> nodes;
    uint32_t largestBits = 0, largestCode = 0;
    for (uint32_t i = 0; i < numberOfLeaves; ++i) {
        HuffmanNode node;
        if (!sequence.Field(bits, node.value) || !sequence.Field(lengthBits, node.numberOfBits) ||
            !sequence.Field(node.numberOfBits, node.code))
            return HuffmanTableFailure();
        largestBits = std::max(largestBits, node.numberOfBits);
        largestCode = std::max(largestCode, node.code);
        if (!nodes.emplace(node.code, node).second) {
            Logger::Log(LogLevel::Error, "BitstreamWriter::DecodeHuffman() - Failed to insert HuffmanNode!");
            return false;
        }
    }

    uint32_t count = 0;
    if (!sequence.Field(kCountFieldBits, count)) return HuffmanTableFailure();
    // Every element takes at least one bit of the sequence.
    if (count > sequence.Left()) return HuffmanTableFailure();
    array.resize(count);

    uint64_t acc = 0;
    uint32_t length = 0;
    uint32_t filled = 0;
    while (filled < count) {
        uint32_t bit = 0;
        if (!sequence.Next(bit)) {
            array.clear();
            return HuffmanTableFailure();
        }
        acc = acc * 2 + bit;
        ++length;
        if (acc > largestCode || length > largestBits) {
            Logger::Log(LogLevel::Error, "BitstreamReader::DecodeHuffman() - DECODING ERROR");
            continue;
        }
        const auto it = nodes.find(static_cast<uint32_t>(acc));
        if (it != nodes.end() && it->second.numberOfBits == length) {
            array[filled++] = static_cast<uint16_t>(it->second.value);
            acc = 0;
            length = 0;
        }
    }
    return true;
}

bool BitstreamReader::DecodeHuffmanU8(std::vector<uint8_t>& array, uint32_t bits, const std::vector<uint32_t>& words,
                                      uint32_t bitsInLastWord) {
    std::vector<uint16_t> wide;
    if (!DecodeHuffman(wide, bits, words, bitsInLastWord)) return false;
    if (wide.empty()) {
        Logger::Log(LogLevel::Error, "BitstreamReader::DecodeHuffmanU8() - INVALID ARRAY CREATED FROM HUFFMAN TREE");
        return false;
    }
    array.resize(wide.size());
    for (size_t i = 0; i < wide.size(); ++i) array[i] = static_cast<uint8_t>(wide[i]);
    return true;
}

bool BitstreamReader::ReadCharacterArray(std::vector<uint8_t>& array, uint32_t bits) {
    if (!array.empty()) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadCharacterArray() - NON-EMPTY ARRAY PASSED");
        return false;
    }
    return ReadBit() ? ReadCharacterArrayCompressed(array, bits) : ReadCharacterArrayUncompressed(array);
}

bool BitstreamReader::ReadCharacterArrayCompressed(std::vector<uint8_t>& array, uint32_t bits) {
    const uint32_t numberOfWords = ReadUnsignedInteger();
    if (numberOfWords == 0) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadCharacterArrayCompressed() - ZERO-SIZE ARRAY");
        return false;
    }
    if (!CountFits(numberOfWords, kBitsPerWord, "compressed word")) return false;
    std::vector<uint32_t> words(numberOfWords);
    for (uint32_t& word : words) word = ReadU32();
    uint32_t bitsInLastWord = ReadUnsignedInteger();
    if (bitsInLastWord == 0) bitsInLastWord = kBitsPerWord;
    return DecodeHuffmanU8(array, bits, words, bitsInLastWord);
}

bool BitstreamReader::ReadCharacterArrayUncompressed(std::vector<uint8_t>& array) {
    const uint32_t count = ReadUnsignedInteger();
    if (count == 0) {
        Logger::Log(LogLevel::Warning, "BitstreamReader::ReadCharacterArrayUncompressed() - with empty array");
        return true;
    }
    if (!CountFits(count, kBitsPerByte, "character")) return false;
    array.resize(count);
    for (uint8_t& value : array) value = ReadByte();
    return true;
}

bool BitstreamReader::ReadShortArray(std::vector<uint16_t>& array, uint32_t bits) {
    const bool compressed = ReadBit() != 0;
    const uint32_t n = ReadUnsignedInteger();
    if (n == 0) {
        Logger::Log(LogLevel::Warning, "BitstreamReader::ReadShortArray() - (compressed) ZERO-SIZE ARRAY");
        array.clear();
        return true;
    }
    if (!compressed) {
        if (!CountFits(n, kBitsPerShort, "short")) return false;
        array.resize(n);
        for (uint16_t& value : array) {
            const uint16_t low = ReadByte();
            value = static_cast<uint16_t>(low | (ReadByte() << kBitsPerByte));
        }
        return true;
    }
    if (!CountFits(n, kBitsPerWord, "compressed word")) return false;
    std::vector<uint32_t> words(n);
    for (uint32_t& word : words) word = ReadU32();
    uint32_t bitsInLastWord = ReadUnsignedInteger();
    if (bitsInLastWord == 0) bitsInLastWord = kBitsPerWord;
    array.clear();
    return DecodeHuffman(array, bits, words, bitsInLastWord);
}

bool BitstreamReader::ReadCompressedIntegerArray(std::vector<int32_t>& array) {
    if (!array.empty()) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadCompressedIntegerArray() - NON-EMPTY ARRAY PASSED");
        return false;
    }
    std::vector<uint8_t> bitCounts;
    if (!ReadCharacterArray(bitCounts, kBitCountBits)) return false;
    if (bitCounts.empty()) {
        Logger::Log(LogLevel::Warning, "BitstreamReader::ReadCompressedIntegerArray() - with empty character array!");
        return true;
    }
    array.resize(bitCounts.size());
    for (size_t i = 0; i < bitCounts.size(); ++i) array[i] = ReadIntegerWithVariableBitNumber(bitCounts[i]);
    return true;
}

bool BitstreamReader::ReadCompressedIndicesArrayWithCharArray(std::vector<int32_t>& array,
                                                              std::vector<uint8_t>& bitCounts) {
    if (!array.empty()) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadCompressedIndicesArray() - NON-EMPTY ARRAY PASSED");
        return false;
    }
    if (bitCounts.empty()) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadCompressedIndicesArray() - CHAR ARRAY INVALID");
        return false;
    }
    array.resize(bitCounts.size());
    array[0] = ReadIntegerWithVariableBitNumber(bitCounts[0]);
    for (size_t i = 1; i < bitCounts.size(); ++i) {
        int32_t difference = static_cast<int8_t>(bitCounts[i]);
        if (difference > kBitCountSignLimit) difference -= kBitCountRange;
        const uint8_t result = static_cast<uint8_t>(difference + bitCounts[i - 1]);
        if (static_cast<uint8_t>(result - 1) > kMaxIndexBits - 1) {
            Logger::Log(LogLevel::Error,
                        "BitstreamReader::ReadCompressedIndicesArrayWithCharArray() - INVALID DIFF VALUE!");
            array.clear();
            return false;
        }
        bitCounts[i] = result;
        array[i] = static_cast<int32_t>(static_cast<uint32_t>(array[i - 1]) +
                                        static_cast<uint32_t>(ReadIntegerWithVariableBitNumber(result)));
    }
    return true;
}

}  // namespace Velmora::PRC
