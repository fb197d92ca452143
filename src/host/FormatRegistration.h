#pragma once
// The formats the library reads and writes. Registration names every reader, so it lives above
// them all; a new reader joins by adding its record here, in the order of the table.

namespace Velmora {

// Registers U3D, PRC and OBJ in this order, once; also runs at library start.
void RegisterStandardFormats();

}  // namespace Velmora
