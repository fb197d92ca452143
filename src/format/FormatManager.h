#pragma once
// The registry of file formats and the single door through which scenes are imported and
// exported. Only one import (and one export) runs at a time in the whole process.

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "format/FormatBase.h"
#include "format/ImportDescriptor.h"

namespace Velmora::FormatGlue {

struct FormatRecord {
    std::string name;
    std::vector<std::string> extensions;  // with the dot, e.g. ".u3d"
    std::shared_ptr<FormatBase> format;
    bool canExport = false;
};

class FormatManager {
public:
    static FormatManager& Instance();

    bool RegisterFormat(const FormatRecord& record);
    std::shared_ptr<FormatBase> GetSupportedLoader(const ImportDescriptor& descriptor);
    uint32_t ImportScene(const ImportDescriptor& descriptor);
    bool ExportScene(const ExportDescriptor& descriptor, ExportBuffer* buffer);
    // For the export of the same name: runs on the caller's thread, takes no lock.
    static void InterruptCurrentImport();

    const std::vector<FormatRecord>& Records() const { return records_; }
    // Lower-cased extension of a path, with its dot ("" if none).
    static std::string ExtensionOf(const std::string& path);

private:
    FormatManager() = default;
    const FormatRecord* FindByExtension(const std::string& extension) const;

    std::vector<FormatRecord> records_;
    std::mutex importLock_;
    std::mutex exportLock_;
    static std::shared_ptr<FormatBase> currentLoader_;
    static std::shared_ptr<FormatBase> currentExporter_;
};

}  // namespace Velmora::FormatGlue
