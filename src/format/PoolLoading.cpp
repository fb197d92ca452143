#include "format/PoolLoading.h"

#include <fmt/format.h>

#include <memory>
#include <new>
#include <string>

#include "format/AuthoringInterrupt.h"
#include "rendering/Mesh.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "util/Logger.h"
#include "util/SimpleProfiler.h"

namespace Velmora::FormatGlue {

using Utility::Logger;
using Utility::LogLevel;
using Utility::SimpleProfiler;

namespace {

std::shared_ptr<SimpleProfiler> StartRootTimer(const char* formatName) {
    std::shared_ptr<SimpleProfiler> root;
    try {
        root.reset(new (std::nothrow) SimpleProfiler(fmt::format("CreateSceneGraphFrom{:s}File", formatName)));
    } catch (const std::bad_alloc&) {}
    if (!root) {
        Logger::Log(LogLevel::Error, "Failed to create profile - OUT OF MEMORY");
        return nullptr;
    }
    root->Start();
    return root;
}

uint32_t ReadAndBuild(const ImportDescriptor& descriptor, AuthoringPool* freshPool, const char* formatName,
                      const std::shared_ptr<SimpleProfiler>& root) {
    std::shared_ptr<AuthoringPool> pool =
        AuthoringPool::Create(freshPool, descriptor.listener, descriptor.callbackSlot);
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
        Logger::LogF(LogLevel::Error, "Failed to load {:s} data into AuthoringPool, unable to create SceneGraph!",
                     formatName);
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
        LogSceneStatistics(scene, formatName);
    }
    return scene;
}

}  // namespace

uint32_t LoadSceneThroughPool(const ImportDescriptor& descriptor, AuthoringPool* freshPool, const char* formatName) {
    std::shared_ptr<SimpleProfiler> root = descriptor.profile ? StartRootTimer(formatName) : nullptr;
    AuthoringInterrupt::Reset();
    const uint32_t scene = ReadAndBuild(descriptor, freshPool, formatName, root);
    if (root) {
        root->Stop();
        Logger::WriteText(LogLevel::Message, root->PrintText());
    }
    return scene;
}

void LogSceneStatistics(uint32_t scene, const char* formatName) {
    std::shared_ptr<Rendering::SceneGraph> graph = Rendering::SceneManager::Instance().GetScene(scene);
    if (!graph) return;
    const Rendering::SceneResources& resources = graph->GetResources();
    const size_t textures = resources.textureManager.GetTextureNames().size();
    const size_t materials = resources.materialManager.GetMaterials().size();
    // Points, lines, triangles; instanced counts multiply a mesh by the models that draw it.
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
    try {
        std::string text = fmt::format("\n{:s}-Scene statistics:\n", formatName);
        text += fmt::format("    Textures: {:d}\n", textures ? textures - 1 : 0);
        text += fmt::format("    Materials: {:d}\n", materials ? materials - 1 : 0);
        text += fmt::format("    SceneGraph: {:d} Nodes\n", graph->CountModels());
        text += fmt::format("    Meshes: {:d}\n", meshes);
        text += fmt::format("    Primitives: {:d} (Points: {:d}, Lines: {:d}, Triangles: {:d})\n",
                            plain[0] + plain[1] + plain[2], plain[0], plain[1], plain[2]);
        text += fmt::format("    Primitives (instanced): {:d} (Points: {:d}, Lines: {:d}, Triangles: {:d})\n",
                            instanced[0] + instanced[1] + instanced[2], instanced[0], instanced[1], instanced[2]);
        Logger::WriteText(LogLevel::Message, text);
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
    }
}

}  // namespace Velmora::FormatGlue
