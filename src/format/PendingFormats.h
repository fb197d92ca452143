#pragma once
// Stand-in for a registered format whose reader has not landed: it recognises its files
// (so the registry picks it as it will pick the real one) and refuses to load them.

#include <cstdint>
#include <string>

#include "format/FormatBase.h"

namespace Velmora::FormatGlue {

class PendingFormat : public FormatBase {
public:
    // signature: the bytes a file of this format starts with, or null for none.
    PendingFormat(std::string name, const char* signature)
        : name_(std::move(name)), signature_(signature ? signature : "") {}

    bool CanLoad(const ImportDescriptor& descriptor) override;
    uint32_t Load(const ImportDescriptor& descriptor) override;
    bool Export(const ExportDescriptor& descriptor, ExportBuffer* buffer) override;

private:
    std::string name_;
    std::string signature_;
};

}  // namespace Velmora::FormatGlue
