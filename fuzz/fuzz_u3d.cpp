// Feeds arbitrary bytes through the U3D reading path: container split, block walk, every
// block reader and the mesh decoders, up to the finished author pools. No rendering.

#include <cstddef>
#include <cstdint>

#include "format/AuthoringInterrupt.h"
#include "u3d/AuthoringPool_U3D.h"
#include "util/Logger.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = [] {
        Velmora::Utility::Logger::Instance().SetMaxLevel(-1);
        return true;
    }();
    (void)quiet;
    if (size > (64u << 20)) return 0;
    auto pool = Velmora::FormatGlue::AuthoringPool::Create(new Velmora::U3D::AuthoringPool_U3D(), nullptr, nullptr);
    if (pool) pool->LoadFromMemory(data, static_cast<uint32_t>(size), nullptr);
    return 0;
}
