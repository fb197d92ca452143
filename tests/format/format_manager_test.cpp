// The format registry: a loader is chosen by extension or, failing that, by signature.

#include <gtest/gtest.h>

#include "format/FormatManager.h"
#include "host/FormatRegistration.h"
#include "support/LogCapture.h"
#include "u3dwriter/U3DWriter.h"

using namespace U3DWriter;

namespace {

using namespace Velmora::FormatGlue;
using Velmora::RegisterStandardFormats;
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

}  // namespace
