#include "u3d/AuthoringPool_U3D.h"

#include <new>

#include "format/AuthoringInterrupt.h"
#include "u3d/BitStreamReader.h"
#include "u3d/CLODBaseMeshContinuation.h"
#include "u3d/CLODMeshDeclaration.h"
#include "u3d/CLODProgressiveMeshContinuation.h"
#include "u3d/FileBlocks.h"
#include "u3d/NodeBlocks.h"
#include "u3d/PrimitiveSetContinuation.h"
#include "u3d/PrimitiveSetDeclaration.h"
#include "u3d/ResourceBlocks.h"
#include "u3d/TextureBlocks.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using FormatGlue::AuthoringInterrupt;
using Utility::Logger;
using Utility::LogLevel;

namespace {
// Chains nest through their own data, so the depth is bounded by the file size anyway; this
// keeps the recursion of a hostile file far from the stack's end.
constexpr int kMaxChainDepth = 64;
}  // namespace

bool AuthoringPool_U3D::Init() {
    try {
        nodePool_ = std::make_unique<AuthorNodePool>();
        lightPool_ = std::make_unique<AuthorLightPool>();
        materialPool_ = std::make_unique<AuthorMaterialPool>();
        texturePool_ = std::make_unique<AuthorTexturePool>();
        shaderPool_ = std::make_unique<AuthorShaderPool>();
        meshPool_ = std::make_unique<AuthorMeshPool>();
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        return false;
    }
    noCompression_ = false;
    return true;
}

void AuthoringPool_U3D::Shutdown() {
    chainBlocks_.clear();
    meshPool_.reset();
    shaderPool_.reset();
    texturePool_.reset();
    materialPool_.reset();
    lightPool_.reset();
    nodePool_.reset();
}

bool AuthoringPool_U3D::LoadFromFile(const std::string& path, Timer timer) {
    std::shared_ptr<U3DFile> file = U3DFile::CreateFromFile(path);
    if (!file) return false;
    return LoadFromU3DFile(file, std::move(timer));
}

bool AuthoringPool_U3D::LoadFromMemory(const uint8_t* data, uint32_t size, Timer timer) {
    std::shared_ptr<U3DFile> file = U3DFile::CreateFromMemory(data, size);
    if (!file) return false;
    return LoadFromU3DFile(file, std::move(timer));
}

bool AuthoringPool_U3D::LoadFromU3DFile(const std::shared_ptr<U3DFile>& file, Timer timer) {
    if (!nodePool_ && !Init()) return false;
    progress_.Reset();
    blocksRead_ = blocksFailed_ = 0;
    Logger::Log(LogLevel::Info, "AuthoringPool: Successfully loaded raw U3D data from '%s'",
                file ? file->Name().c_str() : "");
    if (!nodePool_->Init()) {
        Logger::Log(LogLevel::Error, "Failed to initialize AuthorNodePool!");
        return false;
    }
    Utility::ScopedSubTimer readTimer(timer, "LoadFromFile::CreateAuthoringObjectsFromFile");
    if (!file) {
        Logger::Log(LogLevel::Error, "Invalid U3D file to load authoring objects from!");
        return false;
    }
    RawDataBlockList& blocks = file->Blocks();
    if (blocks.empty()) {
        Logger::Log(LogLevel::Error, "File '%s' contains no valid U3D data", file->Name().c_str());
        return false;
    }
    if (!blocks.front() || blocks.front()->blockType != BlockType::FileHeader) {
        Logger::Log(LogLevel::Error, "File '%s' has no valid U3D header", file->Name().c_str());
        return false;
    }
    loadStep_ = 70.0f / static_cast<float>(blocks.size());

    RawDataBlockList deferred;
    bool finished = SweepBlocks(blocks, true, true, &deferred);
    if (finished) finished = SweepBlocks(deferred, false, true, nullptr);
    meshPool_->CompleteMeshes();
    blocks.clear();
    deferred.clear();
    readTimer.Stop();
    if (AuthoringInterrupt::Interrupted()) return false;

    {
        Utility::ScopedSubTimer finalizeTimer(timer, "LoadFromFile::FinalizeTree");
        nodePool_->FinalizeTree();
    }

    const size_t work =
        nodePool_->GetRoot()->CountDescendants() + texturePool_->Textures().size() + meshPool_->meshes.size();
    buildStep_ = work ? 29.0f / static_cast<float>(work) : 29.0f;
    return !AuthoringInterrupt::Interrupted();
}

bool AuthoringPool_U3D::SweepBlocks(RawDataBlockList& blocks, bool defer, bool progress, RawDataBlockList* deferred) {
    while (!blocks.empty()) {
        std::shared_ptr<RawDataBlock> block = blocks.front();
        blocks.pop_front();
        if (!block) {
            Logger::Log(LogLevel::Error, "Unexpected NULL block in U3D File!");
            continue;
        }
        // Extension blocks look up shading modifiers declared anywhere in the file: they
        // are read after everything else.
        if (defer && deferred && block->blockType >= 256 && block->blockType <= 0xFFFFFF) {
            deferred->push_back(std::move(block));
            continue;
        }
        const uint32_t result = ReadRawDataBlock(block);
        if (result == Read && block->blockKey == BlockType::ModifierChain && !chainBlocks_.empty()) {
            // The chain's modifiers are read at once, in place; nested chains recurse.
            RawDataBlockList chain;
            chain.swap(chainBlocks_);
            if (chainDepth_ < kMaxChainDepth) {
                ++chainDepth_;
                const bool finished = SweepBlocks(chain, defer, false, deferred);
                --chainDepth_;
                if (!finished) return false;
            }
        }
        block.reset();
        if (progress) progress_.UpdateProgress(loadStep_);
        if (AuthoringInterrupt::Interrupted()) return false;
    }
    return true;
}

uint32_t AuthoringPool_U3D::ReadRawDataBlock(const std::shared_ptr<RawDataBlock>& block) {
    if (!block) {
        Logger::Log(LogLevel::Error, "Invalid input (NULL) for ReadRawDataBlock!");
        return Failed;
    }
    std::unique_ptr<BlockBase> reader;
    switch (block->blockKey) {
        case BlockType::FileReference:
        case BlockType::PriorityUpdate:
        case BlockType::Glyph2DModifier:
        case BlockType::SubdivisionModifier:
        case BlockType::BoneWeightModifier:
        case BlockType::CLODModifier:
        case BlockType::ViewResource: return Skipped;
        case BlockType::AnimationModifier:
        case BlockType::MotionResource: return SkippedAnimation;
        default: break;
    }
    switch (block->blockKey) {
        case BlockType::FileHeader: reader.reset(new (std::nothrow) FileHeader()); break;
        case BlockType::ModifierChain: reader.reset(new (std::nothrow) ModifierChain(&chainBlocks_)); break;
        case BlockType::NewObjectType: reader.reset(new (std::nothrow) NewObjectType(*meshPool_)); break;
        case BlockType::NewObject: reader.reset(new (std::nothrow) NewObjectBlock(*meshPool_, *shaderPool_)); break;
        case BlockType::GroupNode: reader.reset(new (std::nothrow) GroupNode(*nodePool_)); break;
        case BlockType::ModelNode: reader.reset(new (std::nothrow) ModelNode(*nodePool_)); break;
        case BlockType::LightNode: reader.reset(new (std::nothrow) LightNode(*nodePool_)); break;
        case BlockType::ViewNode: reader.reset(new (std::nothrow) ViewNode(*nodePool_)); break;
        case BlockType::CLODMeshDeclaration: reader.reset(new (std::nothrow) CLODMeshDeclaration(*meshPool_)); break;
        case BlockType::CLODBaseMeshContinuation:
            reader.reset(new (std::nothrow) CLODBaseMeshContinuation(*meshPool_));
            break;
        case BlockType::CLODProgressiveMeshContinuation:
            reader.reset(new (std::nothrow) CLODProgressiveMeshContinuation(*meshPool_));
            break;
        case BlockType::PointSetDeclaration: reader.reset(new (std::nothrow) PointSetDeclaration(*meshPool_)); break;
        case BlockType::LineSetDeclaration: reader.reset(new (std::nothrow) LineSetDeclaration(*meshPool_)); break;
        case BlockType::PointSetContinuation: reader.reset(new (std::nothrow) PointSetContinuation(*meshPool_)); break;
        case BlockType::LineSetContinuation: reader.reset(new (std::nothrow) LineSetContinuation(*meshPool_)); break;
        case BlockType::ShadingModifier: reader.reset(new (std::nothrow) ShadingModifier(*shaderPool_)); break;
        case BlockType::LightResource: reader.reset(new (std::nothrow) LightResource(*lightPool_)); break;
        case BlockType::LitTextureShader: reader.reset(new (std::nothrow) LitTextureShader(*shaderPool_)); break;
        case BlockType::MaterialResource: reader.reset(new (std::nothrow) MaterialResource(*materialPool_)); break;
        case BlockType::TextureDeclaration: reader.reset(new (std::nothrow) TextureDeclaration(*texturePool_)); break;
        case BlockType::TextureContinuation: reader.reset(new (std::nothrow) TextureContinuation(*texturePool_)); break;
        default:
            // Key 0.
            Logger::Log(LogLevel::Error, "Encountered unexpected BlockType: %u", block->blockKey);
            ++blocksFailed_;
            return Failed;
    }
    if (!reader) {
        Logger::Log(LogLevel::Error, "Unexpected: No new block allocated!");
        ++blocksFailed_;
        return Failed;
    }
    BitStreamReader stream(block->data.data(), block->dataSize, noCompression_, block);
    if (!reader->Read(stream)) {
        Logger::Log(LogLevel::Error, "Error on reading block '%s'", block->name.c_str());
        ++blocksFailed_;
        return Failed;
    }
    if (block->blockKey == BlockType::FileHeader)
        noCompression_ = (static_cast<FileHeader&>(*reader).profile & 0x4) != 0;
    ++blocksRead_;
    return Read;
}

}  // namespace Velmora::U3D
