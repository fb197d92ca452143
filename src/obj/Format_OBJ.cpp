#include "obj/Format_OBJ.h"

#include <new>

#include <fmt/format.h>

#include "format/AuthoringInterrupt.h"
#include "format/FormatManager.h"
#include "obj/AuthoringPool_OBJ.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "util/Logger.h"

namespace Velmora::OBJ {

using FormatGlue::ImportDescriptor;
using Utility::Logger;
using Utility::LogLevel;
using Utility::SimpleProfiler;

bool Format_OBJ::CanLoad(const ImportDescriptor& descriptor) {
    return descriptor.kind == ImportDescriptor::File &&
           FormatGlue::FormatManager::ExtensionOf(descriptor.path) == ".obj";
}

uint32_t Format_OBJ::Load(const ImportDescriptor& descriptor) {
    importing_ = true;
    std::shared_ptr<SimpleProfiler> root;
    if (descriptor.profile) {
        root.reset(new (std::nothrow) SimpleProfiler("CreateSceneGraphFromOBJFile"));
        if (!root)
            Logger::Log(LogLevel::Error, "Failed to create profile - OUT OF MEMORY");
        else
            root->Start();
    }
    FormatGlue::AuthoringInterrupt::Reset();
    const uint32_t scene = LoadThroughPool(descriptor, root);
    if (root) {
        root->Stop();
        Logger::WriteText(LogLevel::Message, root->PrintText());
    }
    importing_ = false;
    return scene;
}

uint32_t Format_OBJ::LoadThroughPool(const ImportDescriptor& descriptor, const std::shared_ptr<SimpleProfiler>& root) {
    std::shared_ptr<AuthoringPool_OBJ> pool = FormatGlue::AuthoringPool::Create(
        new (std::nothrow) AuthoringPool_OBJ(), descriptor.listener, descriptor.callbackSlot);
    if (!pool) {
        Logger::Log(LogLevel::Error, "Failed to create AuthoringPool, unable to create SceneGraph!");
        return 0;
    }
    bool loaded = false;
    {
        Utility::ScopedSubTimer loadTimer(root, "AuthoringPool::LoadFromFile");
        loaded = descriptor.kind == ImportDescriptor::File
                     ? pool->LoadFromFile(descriptor.path, loadTimer.Timer())
                     : pool->LoadFromMemory(descriptor.data, descriptor.dataSize, loadTimer.Timer());
    }
    if (!loaded) {
        Logger::Log(LogLevel::Error, "Failed to load OBJ data into AuthoringPool, unable to create SceneGraph!");
        return 0;
    }
    uint32_t scene = 0;
    {
        Utility::ScopedSubTimer buildTimer(root, "AuthoringPool::BuildSceneGraph");
        if (!pool->BuildSceneGraph(scene, buildTimer.Timer()) || scene == 0) {
            scene = 0;
            Logger::Log(LogLevel::Error, "Failed to create SceneGraph from AuthoringPool!");
        }
    }
    if (scene != 0 && root) {
        Utility::ScopedSubTimer statsTimer(root, "GetMeshStats");
        LogSceneStatistics(scene);
    }
    return scene;
}

void Format_OBJ::LogSceneStatistics(uint32_t scene) {
    std::shared_ptr<Rendering::SceneGraph> graph = Rendering::SceneManager::Instance().GetScene(scene);
    if (!graph) return;
    const Rendering::SceneResources& resources = graph->GetResources();
    // The default texture and the default material row are the renderer's, not the file's;
    // helper geometry (names beginning "___") is not part of the document.
    const size_t textures = resources.textureManager.GetTextureNames().size();
    const size_t materials = resources.materialManager.GetMaterials().size();
    // Instanced counts multiply a mesh by the models that draw it.
    uint32_t plain[3] = {0, 0, 0}, instanced[3] = {0, 0, 0};
    size_t meshes = 0;
    for (const auto& [name, mesh] : resources.meshManager.GetMeshes()) {
        if (!mesh || name.rfind("___", 0) == 0) continue;
        ++meshes;
        uint32_t n = 0;
        for (uint32_t i = 0; i < mesh->GetSubObjectCount(); ++i) n += mesh->GetDrawInfo(i)->primitiveCount;
        const long owners = mesh.use_count() - 1;
        const int kind = mesh->GetPrimitiveType() == Rendering::PrimitiveType::Points  ? 0
                         : mesh->GetPrimitiveType() == Rendering::PrimitiveType::Lines ? 1
                                                                                       : 2;
        plain[kind] += n;
        instanced[kind] += owners > 1 ? n * uint32_t(owners) : n;
    }
    const uint32_t plainTotal = plain[0] + plain[1] + plain[2];
    const uint32_t instancedTotal = instanced[0] + instanced[1] + instanced[2];
    try {
        std::string text = "\nOBJ-Scene statistics:\n";
        text += fmt::format("    Textures: {:d}\n", textures ? textures - 1 : 0);
        text += fmt::format("    Materials: {:d}\n", materials ? materials - 1 : 0);
        text += fmt::format("    SceneGraph: {:d} Nodes\n", graph->CountModels());
        text += fmt::format("    Meshes: {:d}\n", meshes);
        text += fmt::format("    Primitives: {:d} (Points: {:d}, Lines: {:d}, Triangles: {:d})\n", plainTotal, plain[0],
                            plain[1], plain[2]);
        text += fmt::format("    Primitives (instanced): {:d} (Points: {:d}, Lines: {:d}, Triangles: {:d})\n",
                            instancedTotal, instanced[0], instanced[1], instanced[2]);
        Logger::WriteText(LogLevel::Message, text);
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
    }
}

}  // namespace Velmora::OBJ
