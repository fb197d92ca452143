// The tool's PDF reading on documents built in memory, shaped the way hostile documents are:
// shared references that unfold without end, annotations and views repeated past any real
// document's count.

#include <gtest/gtest.h>
#include <qpdf/Pl_Flate.hh>
#include <qpdf/Pl_String.hh>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "PdfDocument.h"

namespace {

using KestrumTool::PdfDocument;
using KestrumTool::PdfScene;

// A document of numbered objects (1 is the catalog) with a correct cross-reference table.
std::string MakePdf(const std::vector<std::string>& objects) {
    std::string pdf = "%PDF-1.7\n";
    std::vector<size_t> offsets;
    for (size_t i = 0; i < objects.size(); ++i) {
        offsets.push_back(pdf.size());
        pdf += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const size_t table = pdf.size();
    pdf += "xref\n0 " + std::to_string(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (size_t offset : offsets) {
        std::string entry = std::to_string(offset);
        pdf += std::string(10 - entry.size(), '0') + entry + " 00000 n \n";
    }
    return pdf + "trailer\n<< /Size " + std::to_string(objects.size() + 1) + " /Root 1 0 R >>\nstartxref\n" +
           std::to_string(table) + "\n%%EOF\n";
}

std::string Repeated(const std::string& text, size_t count) {
    std::string out;
    for (size_t i = 0; i < count; ++i) out += text;
    return out;
}

// One page whose /Annots is `annots`; object 4 is a 3D annotation with the view box `box` of
// the U3D stream 5, which holds `data` under `filter` and the views `views`; `more` objects
// follow from 6.
struct SceneParts {
    std::string annots = "[4 0 R]";
    std::string views = "[]";
    std::vector<std::string> more;
    std::string box = "/Rect [0 0 400 300]";
    std::string filter;
    std::string data = std::string("U3D") + '\0' + "scene";
};

std::string SceneDocument(const SceneParts& parts) {
    std::vector<std::string> objects{
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 400 300] /Annots " + parts.annots + " >>",
        "<< /Type /Annot /Subtype /3D " + parts.box + " /NM (Scene) /3DD 5 0 R /3DV /F >>",
        "<< /Type /3D /Subtype /U3D /VA " + parts.views + parts.filter + " /Length " +
            std::to_string(parts.data.size()) + " >>\nstream\n" + parts.data + "\nendstream",
    };
    objects.insert(objects.end(), parts.more.begin(), parts.more.end());
    return MakePdf(objects);
}

TEST(PdfDocument, ReadsAnnotationsAndViewsFromMemory) {
    SceneParts parts;
    parts.views = "[<< /XN (Front) >> 6 0 R]";
    parts.more = {"<< /IN (back) >>"};
    PdfDocument document;
    std::string error;
    ASSERT_TRUE(document.OpenBytes(SceneDocument(parts), error)) << error;
    ASSERT_EQ(document.Annotations().size(), 1u);
    EXPECT_EQ(document.Annotations()[0].name, "Scene");
    EXPECT_EQ(document.Annotations()[0].viewNames, (std::vector<std::string>{"Front", "back"}));
    PdfScene scene;
    ASSERT_TRUE(document.ExtractScene(0, "back", scene, error)) << error;
    EXPECT_EQ(scene.selectedView, 1u);
    ASSERT_EQ(scene.viewTexts.size(), 2u);
    EXPECT_NE(scene.viewTexts[1].find("(back)"), std::string::npos);
}

TEST(PdfDocument, SelfReferencingViewValuesWriteABoundedText) {
    // Every level of the array holds it three times: unfolded to the depth cut, 3^12 values.
    SceneParts parts;
    parts.views = "[<< /XN (Loop) /SA 6 0 R /BG << /C 6 0 R >> >>]";
    parts.more = {"[" + Repeated(" 6 0 R", 3) + " ]"};
    PdfDocument document;
    std::string error;
    ASSERT_TRUE(document.OpenBytes(SceneDocument(parts), error)) << error;
    PdfScene scene;
    ASSERT_TRUE(document.ExtractScene(0, "", scene, error)) << error;
    ASSERT_EQ(scene.viewTexts.size(), 1u);
    const std::string& text = scene.viewTexts[0];
    EXPECT_LT(text.size(), size_t(1) << 20);
    EXPECT_EQ(text.substr(text.size() - 2), ">>");
    EXPECT_NE(text.find("/XN (Loop)"), std::string::npos);
}

TEST(PdfDocument, DocumentsBeyondTheListingBoundsAreRefusedWithAReason) {
    SceneParts annotations, views, names;
    annotations.annots = "[" + Repeated("4 0 R ", 5000) + "]";
    views.views = "[" + Repeated("<< >> ", 2000) + "]";
    names.views = "[" + Repeated("6 0 R ", 200) + "]";
    names.more = {"<< /XN 7 0 R >>", "(" + std::string(100000, 'n') + ")"};
    const std::pair<const SceneParts*, const char*> cases[] = {
        {&annotations, "3D annotations"}, {&views, "views"}, {&names, "names"}};
    for (const auto& [parts, reason] : cases) {
        PdfDocument document;
        std::string error;
        EXPECT_FALSE(document.OpenBytes(SceneDocument(*parts), error));
        EXPECT_NE(error.find(reason), std::string::npos) << error;
    }
}

TEST(PdfDocument, ViewBoxSidesFarApartInSizeFallBackToAUsableBox) {
    // Bound to the width, the height of this box is too small for a float.
    const std::string huge = "1" + std::string(38, '0') + ".0";
    const std::string tiny = "0." + std::string(29, '0') + "1";
    SceneParts parts;
    parts.views = "[<< /XN (Wide) /P << /Subtype /O /OB /W >> >>]";
    parts.box = "/3DB [0 0 " + huge + " " + tiny + "]";
    PdfDocument document;
    std::string error;
    ASSERT_TRUE(document.OpenBytes(SceneDocument(parts), error)) << error;
    PdfScene scene;
    ASSERT_TRUE(document.ExtractScene(0, "", scene, error)) << error;
    ASSERT_TRUE(scene.hasView);
    EXPECT_TRUE(std::isfinite(scene.view.box.width) && scene.view.box.width > 0.0f) << scene.view.box.width;
    EXPECT_TRUE(std::isfinite(scene.view.box.height) && scene.view.box.height > 0.0f) << scene.view.box.height;
}

// A U3D signature and `bytes` zeros, deflated twice over: a few hundred stored bytes.
std::string TwiceDeflated(size_t bytes) {
    std::string out;
    Pl_String sink("test sink", nullptr, out);
    Pl_Flate outer("test outer", &sink, Pl_Flate::a_deflate);
    Pl_Flate inner("test inner", &outer, Pl_Flate::a_deflate);
    const std::string header = std::string("U3D") + '\0';
    inner.write(reinterpret_cast<const unsigned char*>(header.data()), header.size());
    const std::vector<unsigned char> zeros(size_t(1) << 20);
    for (size_t written = 0; written < bytes; written += zeros.size()) inner.write(zeros.data(), zeros.size());
    inner.finish();
    return out;
}

TEST(PdfDocument, StreamsThatInflateFarBeyondTheirSizeAreRefused) {
    SceneParts parts;
    parts.filter = " /Filter [/FlateDecode /FlateDecode]";
    parts.data = TwiceDeflated(size_t(64) << 20);
    PdfDocument document;
    std::string error;
    ASSERT_TRUE(document.OpenBytes(SceneDocument(parts), error)) << error;
    PdfScene scene;
    EXPECT_FALSE(document.ExtractScene(0, "", scene, error));
    EXPECT_LT(scene.bytes.size(), size_t(64) << 20);
    // Deflated once, a scene of the same size is an ordinary stream.
    std::string data = std::string("U3D") + '\0';
    for (size_t i = 0; i < 100000; ++i) data += static_cast<char>(i * i % 251);
    Pl_String sink("test sink", nullptr, parts.data);
    Pl_Flate flate("test flate", &sink, Pl_Flate::a_deflate);
    parts.data.clear();
    flate.write(reinterpret_cast<const unsigned char*>(data.data()), data.size());
    flate.finish();
    parts.filter = " /Filter /FlateDecode";
    PdfDocument plain;
    ASSERT_TRUE(plain.OpenBytes(SceneDocument(parts), error)) << error;
    ASSERT_TRUE(plain.ExtractScene(0, "", scene, error)) << error;
    EXPECT_EQ(scene.bytes, std::vector<uint8_t>(data.begin(), data.end()));
}

// Inputs that once hung or exhausted the reading stay here and must keep reading cleanly.
TEST(PdfDocument, RegressionInputsReadOrFailCleanly) {
    const std::string folder = std::string(KESTRUM_SOURCE_DIR) + "/tests/pdf/regressions";
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".pdf") continue;
        std::ifstream in(entry.path(), std::ios::binary);
        PdfDocument document;
        std::string error;
        if (!document.OpenBytes(std::string(std::istreambuf_iterator<char>(in), {}), error)) continue;
        for (size_t i = 0; i < document.Annotations().size(); ++i) {
            PdfScene scene;
            document.ExtractScene(i, "", scene, error);
        }
        SUCCEED() << entry.path();
    }
}

}  // namespace
