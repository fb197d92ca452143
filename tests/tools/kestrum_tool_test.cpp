// The command-line host run as a user runs it: the built program in a process of its own, its
// exit status, its output and the pictures it writes. PDF documents are made here with qpdf.

#include <gtest/gtest.h>
#include <png.h>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const std::string kSample = std::string(KESTRUM_SOURCE_DIR) + "/scenes/sample.u3d";
const std::string kTestPdfs = std::string(KESTRUM_TESTDATA) + "/pdf/";
constexpr int kWidth = 160;
constexpr int kHeight = 120;

std::string ReadAll(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

class KestrumTool : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/kestrum_tool_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        folder = pattern;
    }
    void TearDown() override { fs::remove_all(folder); }

    Outcome Kestrum(const std::string& arguments) {
        const fs::path out = folder / "stdout", err = folder / "stderr";
        const std::string command =
            std::string(KESTRUM_PROGRAM) + " " + arguments + " >" + out.string() + " 2>" + err.string() + " </dev/null";
        const int raw = std::system(command.c_str());
        Outcome run;
        run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        run.out = ReadAll(out);
        run.err = ReadAll(err);
        return run;
    }
    Outcome Capture(const std::string& arguments) {
        return Kestrum("capture --size " + std::to_string(kWidth) + "x" + std::to_string(kHeight) + " " + arguments);
    }

    fs::path folder;
};

struct PdfRecipe {
    std::string sceneType = "/U3D";
    std::string scene = ReadAll(kSample);
    std::string views;        // the entries of /VA
    std::string defaultView;  // /3DV, if any
    bool annotation = true;
    bool encrypted = false;
};

// Views bound to the sample scene's "Front" camera, told apart by their backgrounds.
const std::string kColouredViews =
    "<< /Type /3DView /XN (Red) /MS /U3D /U3DPath (Front) /BG << /Subtype /SC /C [1 0 0] >> >>"
    "<< /Type /3DView /XN (Blue) /MS /U3D /U3DPath (Front) /BG << /Subtype /SC /C [0 0 1] >> >>"
    "<< /Type /3DView /XN (Side) /MS /M /C2W [0 0 1 1 0 0 0 1 0 -3 0 0.5] /P << /Subtype /P /FOV 60 >> >>"
    "<< /Type /3DView /XN (Lost) /MS /U3D /U3DPath (NoSuchNode) >>";

void WritePdf(const fs::path& path, const PdfRecipe& recipe) {
    QPDF pdf;
    pdf.emptyPDF();
    QPDFObjectHandle page =
        pdf.makeIndirectObject(QPDFObjectHandle::parse("<< /Type /Page /MediaBox [0 0 400 300] >>"));
    if (recipe.annotation) {
        QPDFObjectHandle stream = pdf.newStream(recipe.scene);
        stream.getDict().replaceKey("/Type", QPDFObjectHandle::newName("/3D"));
        stream.getDict().replaceKey("/Subtype", QPDFObjectHandle::newName(recipe.sceneType));
        stream.getDict().replaceKey("/VA", QPDFObjectHandle::parse("[" + recipe.views + "]"));
        QPDFObjectHandle annotation =
            QPDFObjectHandle::parse("<< /Type /Annot /Subtype /3D /Rect [0 0 400 300] /NM (model) >>");
        // Through a 3D reference dictionary, as documents that share a stream have it.
        annotation.replaceKey("/3DD", QPDFObjectHandle::parse("<< /Type /3DRef >>"));
        annotation.getKey("/3DD").replaceKey("/3DD", stream);
        if (!recipe.defaultView.empty()) annotation.replaceKey("/3DV", QPDFObjectHandle::parse(recipe.defaultView));
        page.replaceKey("/Annots", QPDFObjectHandle::newArray({pdf.makeIndirectObject(annotation)}));
    }
    QPDFPageDocumentHelper(pdf).addPage(page, false);
    QPDFWriter writer(pdf, path.c_str());
    writer.setCompressStreams(true);  // the scene goes through a filter
    if (recipe.encrypted)
        writer.setR6EncryptionParameters("secret", "owner", true, true, true, true, true, true, qpdf_r3p_full, true);
    writer.write();
}

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> rgb;
    const uint8_t* At(int x, int y) const { return rgb.data() + (size_t(y) * width + x) * 3; }
};

bool ReadPng(const fs::path& path, Picture& picture) {
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return false;
    image.format = PNG_FORMAT_RGB;
    picture.width = int(image.width);
    picture.height = int(image.height);
    picture.rgb.assign(PNG_IMAGE_SIZE(image), 0);
    return png_image_finish_read(&image, nullptr, picture.rgb.data(), 0, nullptr) != 0;
}

bool Near(const uint8_t* pixel, uint32_t rgb, int tolerance = 24) {
    for (int c = 0; c < 3; ++c)
        if (std::abs(int(pixel[c]) - int((rgb >> (16 - 8 * c)) & 0xFF)) > tolerance) return false;
    return true;
}

// Share of the picture that is not background, and where its middle is (0..1 each way).
struct Measure {
    double share = 0, centreX = 0, centreY = 0;
};
Measure Measured(const Picture& p, uint32_t background) {
    double count = 0, sx = 0, sy = 0;
    for (int y = 0; y < p.height; ++y)
        for (int x = 0; x < p.width; ++x)
            if (!Near(p.At(x, y), background)) {
                ++count;
                sx += x;
                sy += y;
            }
    if (count == 0) return {};
    return {count / (p.width * p.height), sx / count / p.width, sy / count / p.height};
}

// Horizontal extent of the scene's areas as a share of the width: pixels that differ from the
// background together with their neighbours, so that the helper grid's lines drop out.
double SolidWidth(const Picture& p, uint32_t background) {
    int left = p.width, right = -1;
    for (int y = 1; y + 1 < p.height; ++y)
        for (int x = 1; x + 1 < p.width; ++x) {
            bool solid = true;
            for (int d = 0; d < 9 && solid; ++d) solid = !Near(p.At(x + d % 3 - 1, y + d / 3 - 1), background);
            if (solid) {
                left = std::min(left, x);
                right = std::max(right, x);
            }
        }
    return right < left ? 0.0 : double(right - left + 1) / p.width;
}

constexpr uint32_t kWhite = 0xFFFFFF, kRed = 0xFF0000, kBlue = 0x0000FF;

TEST_F(KestrumTool, TestdataPdfsShowTheirAnnotationStreamAndViews) {
    for (const char* name : {"cylinder.pdf", "triangle.pdf"}) {
        const Outcome run = Kestrum("info " + kTestPdfs + name);
        EXPECT_NE(run.out.find("annotation 0: page 1, name '3DAnnot_"), std::string::npos) << run.out;
        EXPECT_NE(run.out.find("stream PRC"), std::string::npos) << run.out;
        EXPECT_NE(run.out.find("0: Default\n    default view: Default"), std::string::npos) << run.out;
        // The view text carries the resolved dictionaries of the document's own view.
        EXPECT_NE(run.out.find("/P << /OB /Min /OS "), std::string::npos) << run.out;
        EXPECT_EQ(run.status, 0) << run.err;
    }
}

// The exporter's documents show their model on white, framed by the document's own
// orthographic view: a solid shape near the middle that neither fills the picture nor vanishes.
TEST_F(KestrumTool, TestdataPdfsCaptureInTheirOwnView) {
    for (const char* name : {"cylinder", "triangle"}) {
        const fs::path out = folder / (std::string(name) + ".png");
        const Outcome run = Capture(kTestPdfs + name + ".pdf -o " + out.string());
        ASSERT_EQ(run.status, 0) << run.err;
        Picture picture;
        ASSERT_TRUE(ReadPng(out, picture));
        const Measure m = Measured(picture, kWhite);
        const double width = SolidWidth(picture, kWhite);
        EXPECT_GT(width, 0.25) << name;
        EXPECT_LT(width, 0.6) << name;
        EXPECT_NEAR(m.centreX, 0.5, 0.1) << name;
        EXPECT_NEAR(m.centreY, 0.5, 0.15) << name;
    }
}

TEST_F(KestrumTool, U3DPdfCapturesCentredFromTheBuiltInCamera) {
    WritePdf(folder / "made.pdf", PdfRecipe{});
    const Outcome run = Capture((folder / "made.pdf").string() + " -o " + (folder / "made.png").string());
    ASSERT_EQ(run.status, 0) << run.err;
    Picture p;
    ASSERT_TRUE(ReadPng(folder / "made.png", p));
    const Measure m = Measured(p, kWhite);
    EXPECT_GT(m.share, 0.03);
    EXPECT_NEAR(m.centreX, 0.5, 0.15);
    EXPECT_NEAR(m.centreY, 0.5, 0.15);
}

TEST_F(KestrumTool, OrthographicViewFramesAsTheDocumentSays) {
    // Looking at the slab (8 wide) from the front; bound to the shorter side, a scale of 0.1
    // shows 10 units of height and, in a 4:3 picture, 13.3 of width.
    PdfRecipe recipe;
    recipe.views = "<< /XN (Ortho) /MS /M /C2W [1 0 0 0 0 1 0 1 0 0 -10 1] /P << /Subtype /O /OS 0.1 /OB /Min >> >>";
    recipe.defaultView = "0";
    WritePdf(folder / "ortho.pdf", recipe);
    const Outcome run = Capture((folder / "ortho.pdf").string() + " -o " + (folder / "ortho.png").string());
    ASSERT_EQ(run.status, 0) << run.err;
    Picture p;
    ASSERT_TRUE(ReadPng(folder / "ortho.png", p));
    EXPECT_NEAR(SolidWidth(p, kWhite), 8.0 / (10.0 * kWidth / kHeight), 0.03);
}

TEST_F(KestrumTool, ViewsAreChosenByKeywordNameAndNumber) {
    PdfRecipe recipe;
    recipe.views = kColouredViews;
    recipe.defaultView = "/F";
    WritePdf(folder / "views.pdf", recipe);
    const std::string pdf = (folder / "views.pdf").string();
    struct Case {
        std::string option;
        uint32_t background;
    };
    for (const Case& c : {Case{"", kRed}, Case{"--view Blue", kBlue}, Case{"--view 0", kRed}}) {
        const fs::path out = folder / "view.png";
        const Outcome run = Capture(pdf + " " + c.option + " -o " + out.string());
        ASSERT_EQ(run.status, 0) << c.option << run.err;
        Picture p;
        ASSERT_TRUE(ReadPng(out, p));
        // The view's background fills a good part of the picture around the scene.
        const double scene = Measured(p, c.background).share;
        EXPECT_GT(scene, 0.03) << c.option;
        EXPECT_LT(scene, 0.8) << c.option;
    }

    // The annotation's default view, given the ways a document may give it.
    for (const char* given : {"1", "(Blue)", "/L", "<< /XN (Own) /MS /U3D /U3DPath (Front) >>"}) {
        recipe.defaultView = given;
        WritePdf(folder / "default.pdf", recipe);
        const Outcome run = Kestrum("info " + (folder / "default.pdf").string());
        const std::string expected = given[0] == '/' ? "Lost" : given[0] == '<' ? "Own" : "Blue";
        EXPECT_NE(run.out.find("default view: " + expected + "\n"), std::string::npos) << given << run.out;
    }

    // The view text reaches the library's view reader: its camera appears in the scene.
    const Outcome info = Kestrum("info " + pdf + " --view Side");
    ASSERT_EQ(info.status, 0) << info.err;
    EXPECT_NE(info.out.find("view text: << /Type /3DView /XN (Side) /3DB [ 0 0 400 300 ]"), std::string::npos);
    EXPECT_NE(info.out.find("\n    Side\n"), std::string::npos) << info.out;

    const Outcome unknown = Capture(pdf + " --view Green -o " + (folder / "green.png").string());
    EXPECT_EQ(unknown.status, 1);
    EXPECT_NE(unknown.err.find("no view 'Green'; the views are: 0 'Red', 1 'Blue', 2 'Side'"), std::string::npos)
        << unknown.err;
    const Outcome lost = Capture(pdf + " --view Lost -o " + (folder / "lost.png").string());
    EXPECT_EQ(lost.status, 1);
    EXPECT_NE(lost.err.find("names the camera 'NoSuchNode'"), std::string::npos) << lost.err;
    EXPECT_FALSE(fs::exists(folder / "lost.png"));
}

TEST_F(KestrumTool, UnreadablePdfsFailWithAReason) {
    std::ofstream(folder / "broken.pdf") << "%PDF-1.7\n1 0 obj << /Type /Catalog /Pages 9 0 R >> endobj\ntrailer";
    PdfRecipe locked, flat, odd, fake;
    locked.encrypted = true;
    flat.annotation = false;
    odd.sceneType = "/XYZ";
    fake.scene = "not a scene at all";
    WritePdf(folder / "locked.pdf", locked);
    WritePdf(folder / "flat.pdf", flat);
    WritePdf(folder / "odd.pdf", odd);
    WritePdf(folder / "fake.pdf", fake);
    struct Case {
        const char* file;
        const char* reason;
    };
    for (const Case& c : {Case{"broken.pdf", "broken.pdf'"}, Case{"locked.pdf", "encrypted and needs a password"},
                          Case{"flat.pdf", "no 3D annotations"}, Case{"odd.pdf", "unknown type 'XYZ'"},
                          Case{"fake.pdf", "U3D stream does not hold U3D data"}}) {
        for (const std::string& command : {std::string("info "), "capture -o " + (folder / "x.png").string() + " "}) {
            const Outcome run = Kestrum(command + (folder / c.file).string());
            EXPECT_EQ(run.status, 1) << command << c.file;
            EXPECT_NE(run.err.find(c.reason), std::string::npos) << command << c.file << ": " << run.err;
        }
    }
    const Outcome none = Kestrum("info " + (folder / "odd.pdf").string() + " --annotation 3");
    EXPECT_EQ(none.status, 1);
    EXPECT_NE(none.err.find("no 3D annotation 3; the document has 1"), std::string::npos) << none.err;
}

TEST_F(KestrumTool, BatchCapturesEveryGoodFileAndReportsTheBadOne) {
    WritePdf(folder / "made.pdf", PdfRecipe{});
    std::ofstream(folder / "bad.u3d") << "U3D but not really";
    const std::string out = (folder / "pictures").string() + "/";
    const Outcome run = Capture(kSample + " " + (folder / "bad.u3d").string() + " " + (folder / "made.pdf").string() +
                                " --format jpg -o " + out);
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(fs::exists(folder / "pictures" / "sample.jpg"));
    EXPECT_TRUE(fs::exists(folder / "pictures" / "made.jpg"));
    EXPECT_FALSE(fs::exists(folder / "pictures" / "bad.jpg"));
    EXPECT_NE(run.out.find("[2/3] " + (folder / "bad.u3d").string() + " FAILED"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("[3/3] "), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("captured 2 of 3; failed: " + (folder / "bad.u3d").string()), std::string::npos);
}

TEST_F(KestrumTool, UnknownCameraFailsAndNamesTheCameras) {
    const Outcome run = Capture(kSample + " --camera Nowhere -o " + (folder / "x.png").string());
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("no camera 'Nowhere'"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("'Front'"), std::string::npos) << run.err;
    EXPECT_FALSE(fs::exists(folder / "x.png"));
}

TEST_F(KestrumTool, PictureExtensionsOutsideTheWritersAreRefusedBeforeLoading) {
    const Outcome run = Capture(kSample + " -o " + (folder / "x.bmp").string());
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("x.bmp': the picture formats are .png, .jpg/.jpeg and .tif/.tiff"), std::string::npos);
    EXPECT_EQ(run.err.find("loading"), std::string::npos) << run.err;
    EXPECT_FALSE(fs::exists(folder / "x.bmp"));
    EXPECT_EQ(Capture(kSample + " -o " + (folder / "x.TIFF").string()).status, 0);
    EXPECT_TRUE(fs::exists(folder / "x.TIFF"));
}

}  // namespace
