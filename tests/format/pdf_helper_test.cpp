#include <gtest/gtest.h>

#include <string>

#include "format/PDFHelper.h"
#include "support/LogCapture.h"

namespace {

using Velmora::FormatGlue::Dictionary;
using Velmora::FormatGlue::DictionaryValue;
using Velmora::FormatGlue::PDFHelper;

class PDFHelperTest : public ::testing::Test {
protected:
    bool Read(const std::string& text) { return helper.ReadDictionaryFromString(text, &dict); }

    Velmora::Test::LogCapture log;
    PDFHelper helper;
    Dictionary dict;
};

TEST_F(PDFHelperTest, ReadsAFullViewWithNestedDictionaries) {
    ASSERT_TRUE(
        Read("<< /Type /3DView /XN (Front View) /MS /M\n"
             "/C2W [1 0 0 0 1 0 0 0 1 10 20 30]\t/CO 12.5 /3DB [0 0 640 480]\r\n"
             "/BG << /Type /3DBG /C [0.25 0.5 0.75] >> /LS << /Type /3DLightingScheme /Subtype /CAD >>\n"
             "/P << /Subtype /P /FOV 45 /PS /Min /CS /XNF /N 0.5 /F 900 >> /NR true >>"));
    const DictionaryValue* xn = dict.Find("XN", DictionaryValue::String);
    ASSERT_NE(xn, nullptr);
    EXPECT_EQ(xn->text, "Front View");
    ASSERT_NE(dict.Find("Type", DictionaryValue::Name), nullptr);
    EXPECT_EQ(dict.Find("Type")->text, "3DView");
    const DictionaryValue* c2w = dict.Find("C2W", DictionaryValue::Matrix);
    ASSERT_NE(c2w, nullptr);
    std::array<float, 16> expected = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 10, 20, 30, 1};
    EXPECT_EQ(c2w->numbers, expected);
    EXPECT_FLOAT_EQ(dict.Find("CO", DictionaryValue::Float)->floatValue, 12.5f);
    const DictionaryValue* rect = dict.Find("3DB", DictionaryValue::Rectangle);
    ASSERT_NE(rect, nullptr);
    EXPECT_FLOAT_EQ(rect->numbers[2], 640.0f);
    EXPECT_FLOAT_EQ(rect->numbers[3], 480.0f);
    const Dictionary* bg = dict.Find("BG")->AsDictionary();
    ASSERT_NE(bg, nullptr);
    const DictionaryValue* color = bg->Find("C", DictionaryValue::Color);
    ASSERT_NE(color, nullptr);
    EXPECT_FLOAT_EQ(color->numbers[0], 0.25f);
    EXPECT_FLOAT_EQ(color->numbers[2], 0.75f);
    EXPECT_EQ(dict.Find("LS")->AsDictionary()->Find("Subtype")->text, "CAD");
    const Dictionary* p = dict.Find("P")->AsDictionary();
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->Find("PS", DictionaryValue::ContextSpecific)->text, "/Min");
    EXPECT_FLOAT_EQ(p->Find("F", DictionaryValue::Float)->floatValue, 900.0f);
    EXPECT_EQ(p->Find("CS", DictionaryValue::Name)->text, "XNF");
    ASSERT_NE(dict.Find("NR", DictionaryValue::Bool), nullptr);
    EXPECT_TRUE(dict.Find("NR")->boolValue);
}

TEST_F(PDFHelperTest, BadColourCountsAndMatrixSizesEndTheRead) {
    ASSERT_TRUE(Read("/XN (v) /3DB [0 0 1] /CO 2"));
    EXPECT_NE(dict.Find("XN"), nullptr);
    EXPECT_EQ(dict.Find("3DB"), nullptr);
    EXPECT_EQ(dict.Find("CO"), nullptr);
}

TEST_F(PDFHelperTest, UnknownKeyEndsTheDictionarySilently) {
    ASSERT_TRUE(Read("/XN (kept) /Unknown 5 /CO 3"));
    EXPECT_NE(dict.Find("XN"), nullptr);
    EXPECT_EQ(dict.Find("CO"), nullptr);
    for (const auto& line : log.Lines()) EXPECT_GT(line.level, 2) << line.text;
}

TEST_F(PDFHelperTest, NodeArrayOfInlineDictionariesFailsTheRead) {
    EXPECT_FALSE(Read("/XN (v) /NA [<< /N (node) >>]"));
    Dictionary other;
    EXPECT_FALSE(helper.ReadDictionaryFromString("/NA [ << /N (node) >> ]", &other));
}

TEST_F(PDFHelperTest, TruncatedTextKeepsWhatWasRead) {
    ASSERT_TRUE(Read("/CO 1 /XN (never closed"));
    EXPECT_NE(dict.Find("CO"), nullptr);
    EXPECT_EQ(dict.Find("XN"), nullptr);
    ASSERT_TRUE(Read("/3DB [0 0 1"));
}

}  // namespace
