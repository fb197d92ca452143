#pragma once
// A material as the renderer will take it, made from a generic material, from a texture
// application (its generic material plus the texture) or from a plain colour of a line style.

#include <cstdint>
#include <string>

#include "prc/reader/AuthorLineStyle.h"
#include "prc/reader/filestructure/Sections.h"
#include "rendering/MaterialValues.h"

namespace Velmora::PRC {

class AuthorMaterial {
public:
    // Generic or texture application `index` of the file structure `fileStructure`. False
    // (logged) for a kind it does not know or references outside the globals.
    bool Init(const FileStructure::GlobalsSection& globals, uint32_t fileStructure, uint32_t index);
    // The colour that a colour line style refers to.
    bool CreateColorMaterial(const FileStructure::GlobalsSection& globals, const AuthorLineStyle& style);

    Rendering::MaterialValues values;
    // The pool key of the texture definition a texture application draws with; empty for none.
    std::string textureKey;

private:
    bool InitGeneric(const FileStructure::GlobalsSection& globals, const FileStructure::MaterialGeneric& material);
};

// "F<file structure>#<index>": the key of every entity of a file structure in the pools.
std::string EntityKey(uint32_t fileStructure, uint32_t index);

}  // namespace Velmora::PRC
