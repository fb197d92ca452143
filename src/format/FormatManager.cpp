#include "format/FormatManager.h"

#include <algorithm>
#include <cctype>

#include "format/AuthoringInterrupt.h"
#include "util/Logger.h"
#include "util/SceneParameters.h"

namespace Velmora::FormatGlue {

using Utility::Logger;
using Utility::LogLevel;

std::shared_ptr<FormatBase> FormatManager::currentLoader_;
std::shared_ptr<FormatBase> FormatManager::currentExporter_;

namespace {
std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}
}  // namespace

void FormatBase::Interrupt() {
    if (!importing_) {
        Logger::Log(LogLevel::Warning, "Interrupt flag ignored, currently not importing!");
        return;
    }
    Logger::Log(LogLevel::Warning, "Interrupt flag set for current import, ABORTING!");
    AuthoringInterrupt::Set();
}

FormatManager& FormatManager::Instance() {
    static FormatManager instance;
    return instance;
}

std::string FormatManager::ExtensionOf(const std::string& path) {
    const size_t slash = path.find_last_of("/\\");
    const size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
    return Lower(path.substr(dot));
}

const FormatRecord* FormatManager::FindByExtension(const std::string& extension) const {
    for (const FormatRecord& record : records_)
        if (std::find(record.extensions.begin(), record.extensions.end(), extension) != record.extensions.end())
            return &record;
    return nullptr;
}

bool FormatManager::RegisterFormat(const FormatRecord& input) {
    std::string joined;
    for (const std::string& e : input.extensions) joined += (joined.empty() ? "" : ", ") + e;
    if (input.name.empty() || input.extensions.empty() || !input.format) {
        Logger::LogF(LogLevel::Error, "FormatManager::RegisterFormat failed: ext = {:s}, name = {:s} - INVALID DATA",
                     joined, input.name);
        return false;
    }
    FormatRecord record = input;
    for (std::string& e : record.extensions) e = Lower(e);
    for (const std::string& e : record.extensions) {
        if (FindByExtension(e)) {
            Logger::LogF(LogLevel::Error,
                         "FormatManager::RegisterFormat failed: ext = {:s}, name = {:s} - EXTENSION ALREADY REGISTERED",
                         joined, input.name);
            return false;
        }
    }
    records_.push_back(std::move(record));
    return true;
}

std::shared_ptr<FormatBase> FormatManager::GetSupportedLoader(const ImportDescriptor& descriptor) {
    if ((descriptor.kind == ImportDescriptor::File && descriptor.path.empty()) ||
        (descriptor.kind == ImportDescriptor::Memory && (descriptor.data == nullptr || descriptor.dataSize == 0))) {
        Logger::Log(LogLevel::Error, "FormatManager::GetSupportedLoader() with valid input data!");
        return nullptr;
    }
    if (descriptor.kind == ImportDescriptor::File) {
        const FormatRecord* record = FindByExtension(ExtensionOf(descriptor.path));
        return record ? record->format : nullptr;
    }
    if (descriptor.kind != ImportDescriptor::Memory) return nullptr;
    const FormatRecord* fallback = nullptr;
    for (const FormatRecord& record : records_) {
        // OBJ text has no signature: it is only the last resort.
        if (record.name == "OBJ") {
            fallback = &record;
            continue;
        }
        if (record.format->CanLoad(descriptor)) return record.format;
    }
    if (fallback) return fallback->format;
    Logger::Log(LogLevel::Error, "FormatManager::GetSupportedLoader() - This file format is not supported!");
    return nullptr;
}

uint32_t FormatManager::ImportScene(const ImportDescriptor& descriptor) {
    std::lock_guard lock(importLock_);
    std::shared_ptr<FormatBase> loader = GetSupportedLoader(descriptor);
    std::atomic_store(&currentLoader_, loader);
    if (!loader) return 0;
    const uint32_t scene = loader->Load(descriptor);
    std::atomic_store(&currentLoader_, std::shared_ptr<FormatBase>());
    return scene;
}

bool FormatManager::ExportScene(const ExportDescriptor& descriptor, ExportBuffer* buffer) {
    std::lock_guard lock(exportLock_);
    if (descriptor.sceneHandle == 0) {
        Logger::Log(LogLevel::Error, "ExportScene() - INVALID INPUT DATA!");
        return false;
    }
    const char* extension = descriptor.format == Utility::ExportFormatU3D   ? ".u3d"
                            : descriptor.format == Utility::ExportFormatPRC ? ".prc"
                            : descriptor.format == Utility::ExportFormatOBJ ? ".obj"
                                                                            : "";
    const FormatRecord* record = *extension ? FindByExtension(extension) : nullptr;
    if (!*extension || (record && !record->canExport)) {
        Logger::Log(LogLevel::Error, "ExportScene() - export to '%s' not supported", extension);
        return false;
    }
    if (!record) {
        Logger::Log(LogLevel::Error, "ExportScene() - cannot find exporter for '%s'", extension);
        return false;
    }
    currentExporter_ = record->format;
    const bool ok = record->format->Export(descriptor, buffer);
    if (!ok) Logger::Log(LogLevel::Error, "ExportScene() - failed to export for '%s'", extension);
    currentExporter_.reset();
    return ok;
}

void FormatManager::InterruptCurrentImport() {
    std::shared_ptr<FormatBase> loader = std::atomic_load(&currentLoader_);
    if (loader) loader->Interrupt();
}

}  // namespace Velmora::FormatGlue
