#include "u3d/Format_U3D.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "format/AuthoringInterrupt.h"
#include "format/FormatManager.h"
#include "u3d/AuthoringPool_U3D.h"
#include "util/Logger.h"
#include "util/SimpleProfiler.h"

namespace Velmora::U3D {

using FormatGlue::AuthoringInterrupt;
using FormatGlue::ImportDescriptor;
using Utility::Logger;
using Utility::LogLevel;
using Utility::SimpleProfiler;

namespace {
constexpr uint8_t kSignature[4] = {0x55, 0x33, 0x44, 0x00};  // "U3D\0", the header block type
}  // namespace

bool Format_U3D::CanLoad(const ImportDescriptor& descriptor) {
    uint8_t head[4] = {};
    if (descriptor.kind == ImportDescriptor::File) {
        if (FormatGlue::FormatManager::ExtensionOf(descriptor.path) != ".u3d") return false;
        std::FILE* file = std::fopen(descriptor.path.c_str(), "rb");
        if (!file) return false;
        const bool read = std::fread(head, 1, 4, file) == 4;
        std::fclose(file);
        return read && std::memcmp(head, kSignature, 4) == 0;
    }
    if (descriptor.kind == ImportDescriptor::Memory)
        return descriptor.data && descriptor.dataSize >= 4 && std::memcmp(descriptor.data, kSignature, 4) == 0;
    return false;
}

uint32_t Format_U3D::Load(const ImportDescriptor& descriptor) {
    importing_ = true;
    std::shared_ptr<SimpleProfiler> root;
    if (descriptor.profile) {
        root.reset(new (std::nothrow) SimpleProfiler("CreateSceneGraphFromU3DFile"));
        if (!root)
            Logger::Log(LogLevel::Error, "Failed to create profile - OUT OF MEMORY");
        else
            root->Start();
    }
    AuthoringInterrupt::Reset();
    const uint32_t scene = LoadThroughPool(descriptor, root);
    if (root) {
        root->Stop();
        Logger::WriteText(LogLevel::Message, root->PrintText());
    }
    importing_ = false;
    return scene;
}

uint32_t Format_U3D::LoadThroughPool(const ImportDescriptor& descriptor, const std::shared_ptr<SimpleProfiler>& root) {
    std::shared_ptr<AuthoringPool_U3D> pool = FormatGlue::AuthoringPool::Create(
        new (std::nothrow) AuthoringPool_U3D(), descriptor.listener, descriptor.callbackSlot);
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
        Logger::Log(LogLevel::Error, "Failed to load U3D data into AuthoringPool, unable to create SceneGraph!");
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
        AuthoringPool_U3D::LogSceneStatistics(scene);
    }
    return scene;
}

}  // namespace Velmora::U3D
