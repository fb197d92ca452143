#pragma once
// Block readers of the non-geometric resources: lights, materials, lit texture shaders and
// shading modifiers. A resource that fails costs itself alone: these blocks count as read
// even when their object is refused by its pool.

#include "u3d/AuthorLightPool.h"
#include "u3d/AuthorMaterialPool.h"
#include "u3d/AuthorShaderPool.h"
#include "u3d/BlockBase.h"

namespace Velmora::U3D {

class LightResource : public BlockBase {
public:
    explicit LightResource(AuthorLightPool& pool) : BlockBase(BlockType::LightResource), pool_(pool) {}
    bool Read(BitStreamReader& reader) override;

private:
    AuthorLightPool& pool_;
};

class MaterialResource : public BlockBase {
public:
    explicit MaterialResource(AuthorMaterialPool& pool) : BlockBase(BlockType::MaterialResource), pool_(pool) {}
    bool Read(BitStreamReader& reader) override;

private:
    AuthorMaterialPool& pool_;
};

class LitTextureShader : public BlockBase {
public:
    explicit LitTextureShader(AuthorShaderPool& pool) : BlockBase(BlockType::LitTextureShader), pool_(pool) {}
    bool Read(BitStreamReader& reader) override;

private:
    AuthorShaderPool& pool_;
};

class ShadingModifier : public BlockBase {
public:
    explicit ShadingModifier(AuthorShaderPool& pool) : BlockBase(BlockType::ShadingModifier), pool_(pool) {}
    bool Read(BitStreamReader& reader) override;

private:
    AuthorShaderPool& pool_;
};

}  // namespace Velmora::U3D
