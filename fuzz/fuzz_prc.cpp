// Feeds arbitrary bytes through the PRC reading path from memory: container, inflation of
// every section, schemas and every section and entity reader, up to the filled file structure
// blocks. No rendering.

#include <cstddef>
#include <cstdint>

#include "prc/reader/PRCFile.h"
#include "util/Logger.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = [] {
        Velmora::Utility::Logger::Instance().SetMaxLevel(-1);
        return true;
    }();
    (void)quiet;
    if (size > (64u << 20)) return 0;
    auto file = Velmora::PRC::PRCFile::CreateFromMemory(data, static_cast<uint32_t>(size), nullptr, 0.6f);
    (void)file;
    return 0;
}
