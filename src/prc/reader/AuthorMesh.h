#pragma once
// A decoded tessellation as the pool keeps it until the build: what it draws (lines or
// triangles) and the tessellation whose flat arrays hold the geometry.

#include <cstdint>
#include <memory>
#include <string>

#include "prc/reader/filestructure/Tessellation.h"

namespace Velmora::PRC {

class AuthorMesh {
public:
    enum Kind : uint32_t { Invalid = 0, Lines = 2, Triangles = 3 };

    // False (logged for the kinds it refuses) for a null tessellation, one without vertices or
    // one of a kind that draws nothing.
    bool Init(const std::shared_ptr<FileStructure::BaseTessData>& tessellation);

    Kind kind = Invalid;
    std::string name;
    std::shared_ptr<FileStructure::BaseTessData> tessellation;
};

}  // namespace Velmora::PRC
