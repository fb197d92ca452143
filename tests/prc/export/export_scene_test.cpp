// The structure of an exported file as the reader sees it, and exports that must fail cleanly:
// a scene that does not exist, a path that cannot be written, a device that is full, a file
// that grows past what the process may write.

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <set>

#include "prc/export/export_support.h"
#include "prc/reader/PRCFile.h"
#include "prc/reader/filestructure/EntityTypes.h"

namespace PrcExportTest {
namespace {

namespace fs = std::filesystem;
using namespace Velmora::PRC;

std::string U3d(const char* name) { return std::string(KESTRUM_TESTDATA) + "/u3d/" + name; }

// The one file structure of an export of the named scene, read back.
std::shared_ptr<PRCFile> ExportAndRead(const std::string& path) {
    const ExportAnswer exported = ExportPrc(Request::File(path));
    EXPECT_EQ(exported.success, 1);
    if (exported.bytes.empty()) return nullptr;
    return PRCFile::CreateFromMemory(exported.bytes.data(), uint32_t(exported.bytes.size()), nullptr, 0.0f);
}

// Tessellation index of every part definition that has a representation item.
std::vector<int32_t> TessellationsOfParts(const FileStructureBlock& block) {
    std::vector<int32_t> indices;
    for (const auto& part : block.tree.partDefinitions)
        for (const auto& item : part->representationItems) indices.push_back(item->tessellationIndex);
    return indices;
}

class ExportedStructure : public ExportTest {};

TEST_F(ExportedStructure, ModelsSharingAMeshShareOneTessellation) {
    // Two boxes drawn from one mesh under two parents.
    const std::shared_ptr<PRCFile> file = ExportAndRead(U3d("mp_box.u3d"));
    ASSERT_TRUE(file);
    const FileStructureBlock& block = *file->GetFileStructureBlock(0);
    const std::vector<int32_t> used = TessellationsOfParts(block);
    ASSERT_EQ(used.size(), 2u);
    EXPECT_EQ(used[0], used[1]);
    EXPECT_EQ(block.tessellation.tessellations.size(), 1u);
}

TEST_F(ExportedStructure, EqualPositionsShareOneCoordinate) {
    // A box of 24 corners with face normals: 8 positions.
    const std::shared_ptr<PRCFile> file = ExportAndRead(U3d("box.u3d"));
    ASSERT_TRUE(file);
    const FileStructureBlock& block = *file->GetFileStructureBlock(0);
    ASSERT_EQ(block.tessellation.tessellations.size(), 1u);
    ASSERT_EQ(block.tessellation.tessellations[0]->type, kTypeTess3D);
    const auto& tess = static_cast<const FileStructure::Content3DTess&>(*block.tessellation.tessellations[0]);
    EXPECT_EQ(tess.rawCoordinates.size(), 8u * 3);
    // Each corner: normal index, then position index.
    ASSERT_EQ(tess.triangulatedIndices.size(), 12u * 3 * 2);
    std::set<uint32_t> positions;
    for (size_t i = 1; i < tess.triangulatedIndices.size(); i += 2) positions.insert(tess.triangulatedIndices[i]);
    EXPECT_EQ(positions.size(), 8u);
}

TEST_F(ExportedStructure, ChildrenComeBeforeParentsAndTheRootLast) {
    const std::shared_ptr<PRCFile> file = ExportAndRead(U3d("multiparent_anim.u3d"));
    ASSERT_TRUE(file);
    const FileStructure::TreeSection& tree = file->GetFileStructureBlock(0)->tree;
    const auto& occurrences = tree.productOccurrences;
    ASSERT_GT(occurrences.size(), 2u);
    EXPECT_EQ(tree.rootOccurrenceIndex, int32_t(occurrences.size() - 1));
    EXPECT_EQ(occurrences.back()->base.name, "Kestrum Scene");
    size_t sons = 0;
    for (size_t i = 0; i < occurrences.size(); ++i)
        for (const uint32_t son : occurrences[i]->sons) {
            EXPECT_LT(son, i);
            ++sons;
        }
    // Every occurrence but the root is the son of exactly one other.
    EXPECT_EQ(sons, occurrences.size() - 1);
    ASSERT_EQ(file->ModelFile().rootOccurrences.size(), 1u);
    EXPECT_EQ(file->ModelFile().rootOccurrences[0].occurrenceIndex, tree.rootOccurrenceIndex);
}

class ExportFailure : public ExportTest {
protected:
    void SetUp() override {
        ExportTest::SetUp();
        directory = fs::temp_directory_path() / ("prc_export_" + std::to_string(::getpid()));
        fs::create_directories(directory);
    }
    void TearDown() override {
        fs::remove_all(directory);
        ExportTest::TearDown();
    }
    // Whatever the export left in the directory.
    size_t FilesLeft() const {
        return size_t(std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
    }
    fs::path directory;
};

TEST_F(ExportFailure, ASceneHandleThatDoesNotExistFails) {
    constexpr uint32_t kNoSuchScene = 987654;
    const ExportAnswer exported = ExportPrc(Request::ByHandle(kNoSuchScene));
    ASSERT_TRUE(exported.answered);
    EXPECT_EQ(exported.success, 0);
    EXPECT_TRUE(exported.bytes.empty());
}

TEST_F(ExportFailure, AnUnwritablePathFailsWithTheReason) {
    Request r = Request::File(U3d("box.u3d"));
    r.outputPath = (directory / "missing-directory" / "out.prc").string();
    const ExportAnswer exported = ExportPrc(r);
    ASSERT_TRUE(exported.answered);
    EXPECT_EQ(exported.success, 0);
    EXPECT_TRUE(log.Saw("BitstreamWriter::WriteToFile() - failed to create file"));
    EXPECT_EQ(FilesLeft(), 0u);
}

TEST_F(ExportFailure, AFullDeviceFailsAndStaysADevice) {
    Request r = Request::File(U3d("sphere_shading.u3d"));
    r.outputPath = "/dev/full";
    const ExportAnswer exported = ExportPrc(r);
    ASSERT_TRUE(exported.answered);
    EXPECT_EQ(exported.success, 0);
    EXPECT_TRUE(log.Saw("BitstreamWriter::WriteBytesToFile() - error on writing!"));
    struct stat info {};
    ASSERT_EQ(::stat("/dev/full", &info), 0);
    EXPECT_TRUE(S_ISCHR(info.st_mode));
}

TEST_F(ExportFailure, AWriteCutShortLeavesNoFileBehind) {
    // The process may write files of a few kilobytes only: the export's file breaks off.
    constexpr rlim_t kSmallFileLimit = 4096;
    struct rlimit saved {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
    const auto previous = ::signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = saved;
    small.rlim_cur = kSmallFileLimit;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);

    Request r = Request::File(U3d("sphere_shading.u3d"));
    r.outputPath = (directory / "out.prc").string();
    const ExportAnswer exported = ExportPrc(r);

    ::setrlimit(RLIMIT_FSIZE, &saved);
    ::signal(SIGXFSZ, previous);
    ASSERT_TRUE(exported.answered);
    EXPECT_EQ(exported.success, 0);
    EXPECT_EQ(FilesLeft(), 0u);
}

TEST_F(ExportFailure, AWrittenFileIsWholeAndLoads) {
    Request r = Request::File(U3d("sphere_shading.u3d"));
    r.outputPath = (directory / "out.prc").string();
    const ExportAnswer exported = ExportPrc(r);
    ASSERT_EQ(exported.success, 1);
    EXPECT_EQ(FilesLeft(), 1u);  // no temporary beside it
    const Answer picture = Picture160(Request::File(r.outputPath));
    ASSERT_EQ(picture.success, 1);
    EXPECT_GT(SolidCoverage(FromAnswer(picture), kBackground), 0);
}

}  // namespace
}  // namespace PrcExportTest
