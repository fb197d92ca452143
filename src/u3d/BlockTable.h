#pragma once
// The block table: maps a file's block type to the key the block walk dispatches on and to
// the block's name. Types of the extension range 256..0xFFFFFF (compared as signed 32 bits,
// so the 0xFFFFFFxx types fall outside) that the table lacks map to key 256; everything else
// unknown maps to key 0, "Block_Unknown".

#include <cstdint>
#include <string>

namespace Velmora::U3D {

// Returns whether the key is non-zero. The table is built once, on first use, thread-safely.
bool LookupBlockType(uint32_t type, uint32_t& keyOut, std::string& nameOut);

}  // namespace Velmora::U3D
