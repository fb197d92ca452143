// Feeds arbitrary bytes as view text through the view reader: the text read into a dictionary
// and the view description made from it, with every message formatted (and dropped) so that
// the log's own use of the text is covered too. Nothing is applied to a scene: that needs a
// drawing context.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "format/Dictionary.h"
#include "format/PDFHelper.h"
#include "u3d/U3DSceneDescription.h"
#include "util/Logger.h"

namespace {

using Velmora::Utility::Logger;
using Velmora::Utility::LogLevel;

class DroppedLog : public Velmora::Utility::LogStream {
public:
    void Write(int32_t, const std::string&) override {}
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool logged = [] {
        Logger::Instance().SetStream(std::make_shared<DroppedLog>());
        Logger::Instance().SetMaxLevel(static_cast<int32_t>(LogLevel::ExtraVerbose));
        return true;
    }();
    (void)logged;
    const std::string text(reinterpret_cast<const char*>(data), size);
    Velmora::FormatGlue::Dictionary dictionary;
    Velmora::FormatGlue::PDFHelper helper;
    if (!helper.ReadDictionaryFromString(text, &dictionary)) return 0;
    Velmora::U3D::U3DSceneDescription description;
    description.Create(dictionary);
    return 0;
}
