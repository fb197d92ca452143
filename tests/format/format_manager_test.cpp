// The format registry, loader selection, export refusals, interruption and progress.

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "format/AuthoringInterrupt.h"
#include "format/AuthoringProgress.h"
#include "format/FormatManager.h"
#include "support/LogCapture.h"
#include "u3dwriter/U3DWriter.h"

using namespace U3DWriter;

namespace {

using namespace Velmora::FormatGlue;
using Velmora::Test::LogCapture;

TEST(FormatManager, LoaderByExtensionOrSignature) {
    RegisterStandardFormats();
    auto& manager = FormatManager::Instance();
    const auto& records = manager.Records();
    ImportDescriptor file;
    file.kind = ImportDescriptor::File;
    file.path = "/some/Where/SCENE.U3D";
    EXPECT_EQ(manager.GetSupportedLoader(file), records[0].format);
    file.path = "/some/where/scene.txt";
    LogCapture log;
    EXPECT_FALSE(manager.GetSupportedLoader(file));
    EXPECT_TRUE(log.Lines().empty());
    file.path.clear();
    EXPECT_FALSE(manager.GetSupportedLoader(file));
    U3DWriter::U3DFileWriter writer;
    ImportDescriptor memory;
    memory.kind = ImportDescriptor::Memory;
    memory.data = writer.Bytes().data();
    memory.dataSize = uint32_t(writer.Bytes().size());
    EXPECT_EQ(manager.GetSupportedLoader(memory), records[0].format);
    const uint8_t prc[] = {'P', 'R', 'C', 8, 0, 0};
    memory.data = prc;
    memory.dataSize = sizeof prc;
    EXPECT_EQ(manager.GetSupportedLoader(memory), records[1].format);
    const uint8_t text[] = "v 0 0 0\n";
    memory.data = text;
    memory.dataSize = sizeof text;
    EXPECT_EQ(manager.GetSupportedLoader(memory), records[2].format);
}

struct Recorder : ProgressListener {
    void OnProgress(const ProgressInfo& info) override {
        percents.push_back(info.percent);
        slot = info.callbackSlot;
    }
    std::vector<int32_t> percents;
    void* slot = nullptr;
};

TEST(AuthoringProgress, ThrottlesButAlwaysReportsTheEnd) {
    AuthoringProgress progress;
    Recorder recorder;
    int tag = 0;
    progress.AddObserver(&recorder);
    progress.SetCallbackSlot(&tag);
    LogCapture log;
    progress.AddObserver(&recorder);
    for (int i = 0; i < 50; ++i) progress.UpdateProgress(1.0f);
    ASSERT_EQ(recorder.percents.size(), 1u);
    EXPECT_EQ(recorder.percents[0], 1);
    EXPECT_EQ(recorder.slot, &tag);
    std::this_thread::sleep_for(std::chrono::milliseconds(110));
    progress.UpdateProgress(1.0f);
    ASSERT_EQ(recorder.percents.size(), 2u);
    EXPECT_EQ(recorder.percents[1], 51);
    progress.UpdateProgress(70.0f);  // passes 100: reported as exactly 100
    progress.UpdateProgress(5.0f);   // and 100 again
    EXPECT_EQ(recorder.percents, (std::vector<int32_t>{1, 51, 100, 100}));
    progress.UpdateProgress(0.0f);
}

}  // namespace
