// The tool's PDF reading on documents built in memory, shaped the way hostile documents are:
// shared references that unfold without end, annotations and views repeated past any real
// document's count.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
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

// One page whose /Annots is `annots`; object 4 is a 3D annotation of the U3D stream 5 with the
// views `views`; further objects follow from 6.
std::string SceneDocument(const std::string& annots, const std::string& views,
                          const std::vector<std::string>& more = {}, const std::string& box = "/Rect [0 0 400 300]") {
    const std::string scene = std::string("U3D") + '\0' + "scene";
    std::vector<std::string> objects{
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 400 300] /Annots " + annots + " >>",
        "<< /Type /Annot /Subtype /3D " + box + " /NM (Scene) /3DD 5 0 R /3DV /F >>",
        "<< /Type /3D /Subtype /U3D /VA " + views + " /Length " + std::to_string(scene.size()) + " >>\nstream\n" +
            scene + "\nendstream",
    };
    objects.insert(objects.end(), more.begin(), more.end());
    return MakePdf(objects);
}

TEST(PdfDocument, ReadsAnnotationsAndViewsFromMemory) {
    PdfDocument document;
    std::string error;
    ASSERT_TRUE(document.OpenBytes(SceneDocument("[4 0 R]", "[<< /XN (Front) >> 6 0 R]", {"<< /IN (back) >>"}), error))
        << error;
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
    PdfDocument document;
    std::string error;
    ASSERT_TRUE(document.OpenBytes(SceneDocument("[4 0 R]", "[<< /XN (Loop) /SA 6 0 R /BG << /C 6 0 R >> >>]",
                                                 {"[" + Repeated(" 6 0 R", 3) + " ]"}),
                                   error))
        << error;
    PdfScene scene;
    ASSERT_TRUE(document.ExtractScene(0, "", scene, error)) << error;
    ASSERT_EQ(scene.viewTexts.size(), 1u);
    const std::string& text = scene.viewTexts[0];
    EXPECT_LT(text.size(), size_t(1) << 20);
    EXPECT_EQ(text.substr(text.size() - 2), ">>");
    EXPECT_NE(text.find("/XN (Loop)"), std::string::npos);
}

TEST(PdfDocument, DocumentsBeyondTheListingBoundsAreRefusedWithAReason) {
    struct Case {
        std::string pdf;
        const char* reason;
    };
    const std::string longName = "(" + std::string(100000, 'n') + ")";
    const Case cases[] = {
        {SceneDocument("[" + Repeated("4 0 R ", 1000) + "]", "[]"), "3D annotations"},
        {SceneDocument("[4 0 R]", "[" + Repeated("<< >> ", 1000) + "]"), "views"},
        {SceneDocument("[4 0 R]", "[" + Repeated("6 0 R ", 200) + "]", {"<< /XN 7 0 R >>", longName}), "names"},
    };
    for (const Case& c : cases) {
        PdfDocument document;
        std::string error;
        EXPECT_FALSE(document.OpenBytes(c.pdf, error));
        EXPECT_NE(error.find(c.reason), std::string::npos) << error;
    }
}

TEST(PdfDocument, ViewBoxSidesFarApartInSizeFallBackToAUsableBox) {
    // Bound to the width, the height of this box is too small for a float.
    const std::string huge = "1" + std::string(38, '0') + ".0";
    const std::string tiny = "0." + std::string(29, '0') + "1";
    PdfDocument document;
    std::string error;
    ASSERT_TRUE(document.OpenBytes(SceneDocument("[4 0 R]", "[<< /XN (Wide) /P << /Subtype /O /OB /W >> >>]", {},
                                                 "/3DB [0 0 " + huge + " " + tiny + "]"),
                                   error))
        << error;
    PdfScene scene;
    ASSERT_TRUE(document.ExtractScene(0, "", scene, error)) << error;
    ASSERT_TRUE(scene.hasView);
    EXPECT_TRUE(std::isfinite(scene.view.box.width) && scene.view.box.width > 0.0f) << scene.view.box.width;
    EXPECT_TRUE(std::isfinite(scene.view.box.height) && scene.view.box.height > 0.0f) << scene.view.box.height;
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
