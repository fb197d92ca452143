#pragma once
// Requests that travel through FormatManager: what to import, where to export, and the
// buffer an in-memory export is written to.

#include <array>
#include <cstdint>
#include <string>

namespace Velmora::FormatGlue {

class ProgressListener;

struct ImportDescriptor {
    enum Kind : uint32_t { None = 0, File = 1, Memory = 2 };
    // Positions in options: two load options a view hands on, and the normal switches of the
    // mesh pool.
    enum Option : size_t { LoadOptionA = 0, LoadOptionB = 1, GenerateNormals = 2, SmoothNormals = 3, OptionCount = 4 };
    uint32_t kind = None;
    std::string path;               // kind File, UTF-8
    const uint8_t* data = nullptr;  // kind Memory, not owned
    uint32_t dataSize = 0;
    bool profile = true;  // collect timers and statistics
    std::array<bool, OptionCount> options{false, false, true, true};
    uint32_t version = 1;
    ProgressListener* listener = nullptr;  // null when nobody wants progress
    void* callbackSlot = nullptr;          // handed back in each progress notification
};

struct ExportDescriptor {
    uint32_t sceneHandle = 0;
    std::string path;  // empty: export to memory
    uint32_t format = 0;
    bool optionA = false;
    bool optionB = false;
    bool optionC = false;
};

// Written by the exporter when the path is empty. Allocated with malloc, freed by the caller
// with free.
struct ExportBuffer {
    uint8_t* data = nullptr;
    uint32_t size = 0;
};

}  // namespace Velmora::FormatGlue
