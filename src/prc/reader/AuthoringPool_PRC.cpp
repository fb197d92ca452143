// The read half of AuthoringPool_PRC: from a PRC file to author objects and the staging tree.

#include "prc/reader/AuthoringPool_PRC.h"

#include <new>

#include "format/AuthoringInterrupt.h"
#include "prc/reader/TesselationDecoder.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using FormatGlue::AuthoringInterrupt;
using Utility::Logger;
using Utility::LogLevel;

namespace {
// Shares of the progress: taking the file apart, then decoding the tessellations.
constexpr float kFileSpan = 0.6f;
constexpr float kTessellationSpan = 0.3f;
}  // namespace

bool AuthoringPool_PRC::Init() {
    try {
        materialPool_ = std::make_unique<AuthorMaterialPool>();
        meshPool_ = std::make_unique<AuthorMeshPool>();
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        return false;
    }
    return true;
}

void AuthoringPool_PRC::Shutdown() {
    master_.reset();
    treeRoots_.clear();
    path_.clear();
    meshPool_.reset();
    materialPool_.reset();
    file_.reset();
}

bool AuthoringPool_PRC::LoadFromFile(const std::string& path, Timer timer) {
    progress_.Reset();
    std::shared_ptr<PRCFile> file = PRCFile::CreateFromFile(path, &progress_, kFileSpan);
    return CreateAuthoringObjectsFromFile(file, timer);
}

bool AuthoringPool_PRC::LoadFromMemory(const uint8_t* data, uint32_t size, Timer timer) {
    progress_.Reset();
    std::shared_ptr<PRCFile> file = PRCFile::CreateFromMemory(data, size, &progress_, kFileSpan);
    return CreateAuthoringObjectsFromFile(file, timer);
}

bool AuthoringPool_PRC::CreateAuthoringObjectsFromFile(const std::shared_ptr<PRCFile>& file, const Timer& timer) {
    if (!materialPool_ && !Init()) return false;
    Utility::ScopedSubTimer readTimer(timer, "LoadFromFile::CreateAuthoringObjectsFromFile");
    if (!file) {
        Logger::Log(LogLevel::Error, "Invalid PRC file to load authoring objects from!");
        return false;
    }
    file_ = file;
    const size_t blocks = file->NumberOfFileStructureBlocks();
    if (blocks != 1) Logger::Log(LogLevel::Warning, "WARNING: number of file structure blocks != 1, check code!");
    const float span = blocks ? kTessellationSpan / float(blocks) : 0.0f;
    for (uint32_t f = 0; f < blocks; ++f) {
        const std::shared_ptr<FileStructureBlock> block = file->GetFileStructureBlock(f);
        if (!block) {
            Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateAuthoringObjectsFromFile() - INVALID BLOCK!");
            continue;
        }
        CreateTextures(*block, f);
        CreateMaterials(*block, f);
        CreateLineStyles(*block, f);
        CreateMeshes(*block, f, span);
        if (AuthoringInterrupt::Interrupted()) return false;
    }
    if (meshPool_->Empty()) {
        Logger::Log(LogLevel::Error, "PRC file does not contain valid renderable objects");
        return false;
    }
    for (uint32_t f = 0; f < blocks; ++f) {
        if (file->GetFileStructureBlock(f) && !CreateAuthoringTree(f)) {
            Logger::Log(
                LogLevel::Error,
                "AuthoringPool_PRC::CreateAuthoringObjectsFromFile() - failed to create tree for filestructure");
            return false;
        }
    }
    if (!CreateMasterTree()) {
        Logger::Log(LogLevel::Error,
                    "AuthoringPool_PRC::CreateAuthoringObjectsFromFile() - failed to create master tree");
        return false;
    }
    Logger::Log(LogLevel::Info, "AuthoringPool: Successfully loaded raw PRC data from '%s'", file->FileName().c_str());
    const size_t nodes = master_->CountNodes();
    buildStep_ = nodes ? 9.0f / float(nodes) : 0.0f;
    return !AuthoringInterrupt::Interrupted();
}

const UncompressedFileBlock* AuthoringPool_PRC::FindUncompressedFile(const FileStructureBlock& block,
                                                                     int32_t index) const {
    const UncompressedFileList& list =
        block.uncompressedFiles.empty() ? file_->UncompressedFiles() : block.uncompressedFiles;
    if (index < 0 || size_t(index) >= list.size()) return nullptr;
    auto it = list.begin();
    std::advance(it, index);
    return it->get();
}

void AuthoringPool_PRC::CreateTextures(const FileStructureBlock& block, uint32_t fileStructure) {
    const FileStructure::GlobalsSection& globals = block.globals;
    for (uint32_t i = 0; i < globals.textureDefinitions.size(); ++i) {
        const auto& definition = globals.textureDefinitions[i];
        if (!definition) {
            Logger::Log(LogLevel::Error,
                        "AuthoringPool_PRC::CreateAuthoringObjectsFromFile() - FAILED TO CREATE AUTHOR "
                        "TEXTURE DUE TO INVALID DATA");
            continue;
        }
        if (definition->pictureIndex < 0 || size_t(definition->pictureIndex) >= globals.pictures.size()) {
            Logger::Log(LogLevel::Error,
                        "AuthoringPool_PRC::CreateAuthoringObjectsFromFile() - FAILED TO CREATE AUTHOR "
                        "TEXTURE DUE TO INVALID PICTURE INDEX");
            continue;
        }
        const FileStructure::Picture& picture = globals.pictures[size_t(definition->pictureIndex)];
        const UncompressedFileBlock* data = FindUncompressedFile(block, picture.uncompressedFileIndex);
        if (!data || !data->present || !data->data || data->size == 0) {
            Logger::Log(LogLevel::Error,
                        "AuthoringPool_PRC::CreateAuthoringObjectsFromFile() - FAILED TO FIND TEXTURE DATA");
            continue;
        }
        std::shared_ptr<AuthorTexture> texture(new (std::nothrow) AuthorTexture());
        if (!texture || !texture->Init(picture, uint32_t(definition->pictureIndex), data->data, data->size) ||
            !materialPool_->AddTexture(fileStructure, i, texture))
            Logger::Log(LogLevel::Error,
                        "AuthoringPool_PRC::CreateAuthoringObjectsFromFile() - FAILED TO CREATE RENDERABLE TEXTURE");
    }
}

void AuthoringPool_PRC::CreateMaterials(const FileStructureBlock& block, uint32_t fileStructure) {
    for (uint32_t i = 0; i < block.globals.materials.size(); ++i) {
        std::shared_ptr<AuthorMaterial> material(new (std::nothrow) AuthorMaterial());
        if (!material || !material->Init(block.globals, fileStructure, i)) {
            Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateAuthoringObjectsFromFile() - INVALID MATERIAL");
            continue;
        }
        if (!materialPool_->AddMaterial(fileStructure, i, material))
            Logger::Log(LogLevel::Error,
                        "AuthoringPool_PRC::CreateAuthoringObjectsFromFile() - FAILED TO ADD MATERIAL TO POOL");
    }
}

void AuthoringPool_PRC::CreateLineStyles(const FileStructureBlock& block, uint32_t fileStructure) {
    for (uint32_t i = 0; i < block.globals.lineStyles.size(); ++i) {
        std::shared_ptr<AuthorLineStyle> style(new (std::nothrow) AuthorLineStyle());
        if (!style) {
            Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateAuthoringObjectsFromFile() - INVALID LINESTYLE");
            continue;
        }
        style->Init(block.globals.lineStyles[i]);
        if (!materialPool_->AddLinestyle(fileStructure, i, style)) {
            Logger::Log(LogLevel::Error,
                        "AuthoringPool_PRC::CreateAuthoringObjectsFromFile() - FAILED TO ADD LINESTYLE TO POOL");
            continue;
        }
        if (style->kind != AuthorLineStyle::Colour) continue;
        std::shared_ptr<AuthorMaterial> colour(new (std::nothrow) AuthorMaterial());
        if (!colour || !colour->CreateColorMaterial(block.globals, *style)) {
            Logger::Log(LogLevel::Error,
                        "AuthoringPool_PRC::CreateAuthoringObjectsFromFile() - INVALID COLOR MATERIAL");
            continue;
        }
        if (!materialPool_->AddColorMaterial(fileStructure, i, colour))
            Logger::Log(LogLevel::Error,
                        "AuthoringPool_PRC::CreateAuthoringObjectsFromFile() - FAILED TO ADD COLOR MATERIAL TO POOL");
    }
}

void AuthoringPool_PRC::CreateMeshes(const FileStructureBlock& block, uint32_t fileStructure, float span) {
    const auto& tessellations = block.tessellation.tessellations;
    const uint32_t count = uint32_t(tessellations.size());
    // Plain tessellations that wire items show are drawn as their lines.
    for (const auto& part : block.tree.partDefinitions) {
        if (!part) continue;
        for (const auto& item : part->representationItems) {
            if (!item || item->base.type != kTypePolyWire || item->tessellationIndex < 0 ||
                uint32_t(item->tessellationIndex) >= count)
                continue;
            const auto& tess = tessellations[size_t(item->tessellationIndex)];
            if (tess && tess->type == kTypeTess3D)
                static_cast<FileStructure::Content3DTess&>(*tess).decodeAsLines = true;
        }
    }
    const float step = count ? span / float(count) : 0.0f;
    for (uint32_t i = 0; i < count; ++i) {
        if (AuthoringInterrupt::Interrupted()) return;
        const auto& tess = tessellations[i];
        if (!tess) {
            Logger::Log(LogLevel::Error,
                        "AuthoringPool_PRC::CreateAuthoringObjectsFromFile() - with INVALID TESSELLATION");
            continue;
        }
        if (!TesselationDecoder::DecodeTesselation(tess, &progress_, step) ||
            !CreateAuthorMeshFromTesselation(tess, fileStructure, i))
            Logger::Log(LogLevel::Error,
                        "AuthoringPool_PRC::CreateAuthoringObjectsFromFile - failed to decode tesselation[%u/%u]", i,
                        count);
    }
}

bool AuthoringPool_PRC::CreateAuthorMeshFromTesselation(
    const std::shared_ptr<FileStructure::BaseTessData>& tessellation, uint32_t fileStructure, uint32_t index) {
    std::shared_ptr<AuthorMesh> mesh(new (std::nothrow) AuthorMesh());
    if (!mesh || !mesh->Init(tessellation)) return false;
    // A decode that gave no primitives has nothing to draw.
    if (tessellation->triangleIndices.empty()) return false;
    if (!meshPool_->AddMesh(fileStructure, index, mesh)) {
        Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateAuthorMeshFromTesselation() - FAILED TO ADD MESH!");
        return false;
    }
    return true;
}

}  // namespace Velmora::PRC
