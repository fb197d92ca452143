#pragma once
// The benchmarks read their inputs from the third-party test data, whole, before timing starts.

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// The bytes of testdata/<folder>/<name>; empty when the file is missing.
inline std::vector<uint8_t> ReadTestFile(const char* folder, const char* name) {
    std::ifstream in(std::string(KESTRUM_TESTDATA) + "/" + folder + "/" + name, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}
