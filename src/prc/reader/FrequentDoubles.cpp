#include "prc/reader/FrequentDoubles.h"

#include <algorithm>

namespace Velmora::PRC {

namespace {

constexpr uint32_t kExponentShift = 52;

// Rows that stand for a whole double, as (numberOfBits, code, IEEE bits).
struct DoubleRow {
    uint32_t numberOfBits;
    uint32_t code;
    uint64_t value;
};

// Exponent rows given one by one: (biased exponent, numberOfBits, code).
struct ExponentRow {
    uint16_t exponent;
    uint8_t numberOfBits;
    uint32_t code;
};

// Stretches of exponents whose codes have one length and count up by one.
struct ExponentRun {
    uint16_t firstExponent;
    uint8_t numberOfBits;
    uint32_t firstCode;
    uint16_t count;
};

constexpr DoubleRow kDoubles[] = {
    {2, 0x1, 0x0000000000000000ull},    {10, 0xf4, 0x3e35798ee2308c3aull},  {11, 0x77c, 0x3e45798ee2308c3aull},
    {8, 0xaf, 0x3e8ad7f29abcaf4aull},   {9, 0x1d2, 0x3ec0c6f7a0b5ed8eull},  {10, 0xd0, 0x3f454c985f06f694ull},
    {6, 0x9, 0x3f4a36e2eb1c432dull},    {4, 0xf, 0x3f50624dd2f1a9fcull},    {5, 0x16, 0x3f60624dd2f1a9fcull},
    {11, 0x751, 0x3fbe69ad42c3c9eeull}, {11, 0x777, 0x3fe0000000000000ull}, {9, 0x1d6, 0x3feffffff8000002ull},
    {4, 0x0, 0x3ff0000000000000ull},    {9, 0x15a, 0x401921fb54442d18ull},  {11, 0x774, 0x4035ee1480000000ull},
    {9, 0x1d3, 0x404ca5dc1a63c1f8ull},  {11, 0x77e, 0x405bb32fe0000000ull}, {10, 0x5e, 0x405c332fe0000000ull},
    {9, 0x1d7, 0x4066800000000000ull},  {9, 0x1d5, 0x4076800000000000ull},  {11, 0x77d, 0x408f400000000000ull},
    {10, 0xd2, 0x409233ffffffffffull},  {8, 0x3c, 0x4092340000000000ull},   {11, 0x753, 0x4092340000000001ull},
    {10, 0xd3, 0x4092abffffffffffull},  {8, 0x35, 0x4092ac0000000000ull},   {11, 0x770, 0x4092ac0000000001ull},
    {7, 0x1f, 0x40c81c8000000000ull},   {6, 0x2a, 0x41cdcd64ff800000ull},
};

constexpr ExponentRun kExponentRuns[] = {
    {0x000, 22, 0x0d1d32, 2},   {0x002, 22, 0x0f78d8, 40}, {0x02a, 22, 0x3a8300, 810}, {0x35b, 22, 0x3a862c, 13},
    {0x372, 22, 0x3a8641, 29},  {0x390, 22, 0x3a8660, 3},  {0x40f, 22, 0x3a86d8, 3},   {0x413, 22, 0x3a86db, 5},
    {0x418, 22, 0x3a86f0, 4},   {0x41c, 22, 0x3a86f4, 12}, {0x428, 22, 0x3a8740, 25},  {0x442, 22, 0x3a8759, 167},
    {0x4e9, 22, 0x3a9000, 768}, {0x7e9, 22, 0x3a95a0, 16}, {0x7f9, 22, 0x3b8fe0, 4},   {0x7fd, 21, 0x068e90, 2},
};

constexpr ExponentRow kExponents[] = {
    {0x354, 18, 0xf787},   {0x355, 18, 0xd1d4},   {0x356, 19, 0x77f9f},  {0x357, 18, 0x3b8fb},  {0x358, 19, 0x1ef1a},
    {0x359, 21, 0x1d4315}, {0x35a, 16, 0x3de2},   {0x368, 21, 0x1d431d}, {0x369, 22, 0x3a8639}, {0x36a, 22, 0x3a863c},
    {0x36b, 16, 0x3de0},   {0x36c, 18, 0x3a95e},  {0x36d, 21, 0x1d431f}, {0x36e, 22, 0x3a863d}, {0x36f, 22, 0x3a8640},
    {0x370, 20, 0x34749},  {0x371, 20, 0x3474d},  {0x38f, 21, 0x1d432f}, {0x393, 21, 0x1d4332}, {0x394, 18, 0xd1d5},
    {0x395, 18, 0x3bfda},  {0x396, 15, 0x7528},   {0x397, 15, 0x7529},   {0x398, 18, 0x3a95f},  {0x399, 17, 0x1d434},
    {0x39a, 19, 0x750cd},  {0x39b, 18, 0x3a867},  {0x39c, 19, 0x771fd},  {0x39d, 15, 0x7764},   {0x39e, 20, 0xee3f9},
    {0x39f, 18, 0x3bfdb},  {0x3a0, 16, 0xeff7},   {0x3a1, 18, 0xd1d6},   {0x3a2, 22, 0x3a8663}, {0x3a3, 22, 0x3a8666},
    {0x3a4, 18, 0x3b8fa},  {0x3a5, 17, 0x1d435},  {0x3a6, 17, 0x1dfe4},  {0x3a7, 19, 0x750d8},  {0x3a8, 18, 0x3a95b},
    {0x3a9, 19, 0x77f9e},  {0x3aa, 19, 0x750d9},  {0x3ab, 18, 0xd1d7},   {0x3ac, 18, 0x3b8ff},  {0x3ad, 17, 0x1dc7c},
    {0x3ae, 19, 0x750da},  {0x3af, 17, 0x7bc2},   {0x3b0, 18, 0x3bfca},  {0x3b1, 19, 0x1a3a5},  {0x3b2, 17, 0x1d4ac},
    {0x3b3, 18, 0x3a86e},  {0x3b4, 17, 0x1d438},  {0x3b5, 18, 0x3bfcb},  {0x3b6, 19, 0x1a3a7},  {0x3b7, 17, 0x1d4ae},
    {0x3b8, 18, 0x3bfce},  {0x3b9, 18, 0xf78c},   {0x3ba, 17, 0x1dfec},  {0x3bb, 17, 0x1d439},  {0x3bc, 17, 0x68e8},
    {0x3bd, 18, 0xf786},   {0x3be, 15, 0x771e},   {0x3bf, 17, 0x1dfe6},  {0x3c0, 15, 0x77f8},   {0x3c1, 14, 0x3bb3},
    {0x3c2, 14, 0x3b8e},   {0x3c3, 14, 0x3a82},   {0x3c4, 14, 0x3b96},   {0x3c5, 13, 0x68f},    {0x3c6, 12, 0x3d4},
    {0x3c7, 13, 0x1dca},   {0x3c8, 12, 0x346},    {0x3c9, 12, 0xee7},    {0x3ca, 12, 0xeea},    {0x3cb, 11, 0x1ed},
    {0x3cc, 12, 0x3df},    {0x3cd, 11, 0x1a2},    {0x3ce, 11, 0x56f},    {0x3cf, 11, 0xb9},     {0x3d0, 13, 0x7b2},
    {0x3d1, 13, 0x1dd8},   {0x3d2, 13, 0x15ba},   {0x3d3, 12, 0xee6},    {0x3d4, 13, 0x15b8},   {0x3d5, 14, 0xf79},
    {0x3d6, 14, 0x3a81},   {0x3d7, 14, 0xd1c},    {0x3d8, 15, 0x7765},   {0x3d9, 14, 0xf54},    {0x3da, 13, 0x15b9},
    {0x3db, 13, 0x7ab},    {0x3dc, 15, 0x7500},   {0x3dd, 15, 0x1eaa},   {0x3de, 15, 0x7501},   {0x3df, 15, 0x1eab},
    {0x3e0, 14, 0x3b97},   {0x3e1, 15, 0x752a},   {0x3e2, 15, 0x77fa},   {0x3e3, 14, 0x3a93},   {0x3e4, 13, 0x1dc6},
    {0x3e5, 13, 0x7bd},    {0x3e6, 13, 0x1dff},   {0x3e7, 12, 0xefe},    {0x3e8, 12, 0xeed},    {0x3e9, 11, 0xb8},
    {0x3ea, 12, 0x3d8},    {0x3eb, 11, 0x1eb},    {0x3ec, 13, 0x1d4b},   {0x3ed, 13, 0x7b3},    {0x3ee, 10, 0x5d},
    {0x3ef, 12, 0xeeb},    {0x3f0, 11, 0x1ee},    {0x3f1, 10, 0x5f},     {0x3f2, 10, 0x2b6},    {0x3f3, 9, 0x1de},
    {0x3f4, 8, 0xe8},      {0x3f5, 8, 0xae},      {0x3f6, 7, 0x1b},      {0x3f7, 7, 0x76},      {0x3f8, 7, 0xa},
    {0x3f9, 6, 0x8},       {0x3fa, 6, 0xe},       {0x3fb, 6, 0x4},       {0x3fc, 6, 0xc},       {0x3fd, 5, 0x3},
    {0x3fe, 4, 0x8},       {0x3ff, 5, 0x13},      {0x400, 5, 0x1b},      {0x401, 5, 0x17},      {0x402, 5, 0x12},
    {0x403, 5, 0x19},      {0x404, 5, 0x1a},      {0x405, 5, 0x18},      {0x406, 5, 0x1c},      {0x407, 5, 0x14},
    {0x408, 5, 0x5},       {0x409, 8, 0x16},      {0x40a, 12, 0xee2},    {0x40b, 12, 0xee4},    {0x40c, 8, 0xac},
    {0x40d, 13, 0x15bb},   {0x40e, 22, 0x3a8667}, {0x412, 17, 0x1dc7e},  {0x441, 15, 0x1a3b},
};

// The all-ones exponent is stored with the quiet-NaN bit, not as infinity.
constexpr FrequentValueRow kNotANumberRow{FrequentValueType::Exponent, 21, 0x68e98, 0x7ff8000000000000ull};

uint64_t ExponentBits(uint32_t exponent) { return static_cast<uint64_t>(exponent) << kExponentShift; }

}  // namespace

const FrequentDoubles& FrequentDoubles::Instance() {
    static const FrequentDoubles table;
    return table;
}

FrequentDoubles::FrequentDoubles() {
    rows_.reserve(kRowCount);
    for (const DoubleRow& row : kDoubles)
        rows_.push_back({FrequentValueType::Double, row.numberOfBits, row.code, row.value});
    for (const ExponentRun& run : kExponentRuns)
        for (uint32_t i = 0; i < run.count; ++i)
            rows_.push_back({FrequentValueType::Exponent, run.numberOfBits, run.firstCode + i,
                             ExponentBits(run.firstExponent + i)});
    for (const ExponentRow& row : kExponents)
        rows_.push_back({FrequentValueType::Exponent, row.numberOfBits, row.code, ExponentBits(row.exponent)});
    rows_.push_back(kNotANumberRow);

    for (uint32_t length = 1; length <= kDirectLengths; ++length) direct_[length].assign(size_t{1} << length, -1);
    for (size_t i = 0; i < rows_.size(); ++i) {
        const FrequentValueRow& row = rows_[i];
        if (row.numberOfBits <= kDirectLengths)
            direct_[row.numberOfBits][row.code] = static_cast<int16_t>(i);
        else
            longCodes_.push_back({(uint64_t{row.numberOfBits} << 32) | row.code, static_cast<int16_t>(i)});
    }
    std::sort(longCodes_.begin(), longCodes_.end());

    prefix_.assign(size_t{1} << kPrefixBits, PrefixEntry{});
    for (size_t i = 0; i < rows_.size(); ++i) {
        const FrequentValueRow& row = rows_[i];
        if (row.numberOfBits > kPrefixBits) continue;
        const uint32_t free = kPrefixBits - row.numberOfBits;
        const uint32_t first = row.code << free;
        for (uint32_t k = 0; k < (1u << free); ++k)
            prefix_[first + k] = PrefixEntry{static_cast<int16_t>(i), static_cast<uint8_t>(row.numberOfBits)};
    }
}

const FrequentValueRow* FrequentDoubles::FindLong(uint32_t length, uint32_t code) const {
    if (length > kMaxCodeLength) return nullptr;
    const uint64_t key = (uint64_t{length} << 32) | code;
    const auto it = std::lower_bound(longCodes_.begin(), longCodes_.end(), std::make_pair(key, int16_t{-1}));
    if (it == longCodes_.end() || it->first != key) return nullptr;
    return &rows_[static_cast<size_t>(it->second)];
}

}  // namespace Velmora::PRC
