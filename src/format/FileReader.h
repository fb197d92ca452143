#pragma once
// The file reader shared by the authoring pools: the whole file into memory, with the
// messages every format logs.

#include <cstdint>
#include <string>
#include <vector>

namespace Velmora::FormatGlue {

// False (with a level 1 line) when the path is empty or absent, can't be opened or can't be
// read completely; `out` is then empty.
bool ReadWholeFile(const std::string& path, std::vector<uint8_t>& out);

}  // namespace Velmora::FormatGlue
