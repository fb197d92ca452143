#pragma once
// Texture declaration and continuation blocks. Both count as read whatever becomes of the
// texture; a texture that can't be completed falls back to the default texture at build.

#include "u3d/AuthorTexture.h"
#include "u3d/BlockBase.h"

namespace Velmora::U3D {

class TextureDeclaration : public BlockBase {
public:
    explicit TextureDeclaration(AuthorTexturePool& pool) : BlockBase(BlockType::TextureDeclaration), pool_(pool) {}
    bool Read(BitStreamReader& reader) override;

private:
    AuthorTexturePool& pool_;
};

// Bears the declaration's kind, as both write the same texture.
class TextureContinuation : public BlockBase {
public:
    explicit TextureContinuation(AuthorTexturePool& pool) : BlockBase(BlockType::TextureDeclaration), pool_(pool) {}
    bool Read(BitStreamReader& reader) override;

private:
    AuthorTexturePool& pool_;
};

}  // namespace Velmora::U3D
