#include "prc/reader/Format_PRC.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "format/AuthoringInterrupt.h"
#include "format/FormatManager.h"
#include "prc/reader/AuthoringPool_PRC.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using FormatGlue::AuthoringInterrupt;
using FormatGlue::ImportDescriptor;
using Utility::Logger;
using Utility::LogLevel;
using Utility::SimpleProfiler;

namespace {
constexpr uint8_t kSignature[3] = {'P', 'R', 'C'};
constexpr size_t kSignatureSize = sizeof kSignature;
}  // namespace

bool Format_PRC::CanLoad(const ImportDescriptor& descriptor) {
    uint8_t head[kSignatureSize] = {};
    if (descriptor.kind == ImportDescriptor::File) {
        if (FormatGlue::FormatManager::ExtensionOf(descriptor.path) != ".prc") return false;
        std::FILE* file = std::fopen(descriptor.path.c_str(), "rb");
        if (!file) return false;
        const bool read = std::fread(head, 1, kSignatureSize, file) == kSignatureSize;
        std::fclose(file);
        return read && std::memcmp(head, kSignature, kSignatureSize) == 0;
    }
    if (descriptor.kind == ImportDescriptor::Memory)
        return descriptor.data && descriptor.dataSize >= kSignatureSize &&
               std::memcmp(descriptor.data, kSignature, kSignatureSize) == 0;
    return false;
}

bool Format_PRC::Export(const FormatGlue::ExportDescriptor&, FormatGlue::ExportBuffer*) {
    Logger::Log(LogLevel::Error, "PRC export is not available");
    return false;
}

uint32_t Format_PRC::Load(const ImportDescriptor& descriptor) {
    importing_ = true;
    std::shared_ptr<SimpleProfiler> root;
    if (descriptor.profile) {
        root.reset(new (std::nothrow) SimpleProfiler("CreateSceneGraphFromPRCFile"));
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

uint32_t Format_PRC::LoadThroughPool(const ImportDescriptor& descriptor, const std::shared_ptr<SimpleProfiler>& root) {
    std::shared_ptr<AuthoringPool_PRC> pool = FormatGlue::AuthoringPool::Create(
        new (std::nothrow) AuthoringPool_PRC(), descriptor.listener, descriptor.callbackSlot);
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
        Logger::Log(LogLevel::Error, "Failed to load PRC data into AuthoringPool, unable to create SceneGraph!");
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
        AuthoringPool_PRC::LogSceneStatistics(scene);
    }
    return scene;
}

}  // namespace Velmora::PRC
