#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

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
    ASSERT_TRUE(Read(
        "<< /Type /3DView /XN (Front View) /MS /M\n"
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
    // Rows of four: three numbers then the fourth column 0, 0, 0, 1.
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
    // Keys after nested dictionaries are still read.
    ASSERT_NE(dict.Find("NR", DictionaryValue::Bool), nullptr);
    EXPECT_TRUE(dict.Find("NR")->boolValue);
}

TEST_F(PDFHelperTest, StringsSpanTokensAndKeepEscapedParentheses) {
    ASSERT_TRUE(Read("/XN (A   view\twith  (nested) words)  /IN (x\\(y\\))"));
    // Runs of separators come back as single blanks.
    EXPECT_EQ(dict.Find("XN")->text, "A view with nested words");
    EXPECT_EQ(dict.Find("IN")->text, "x\\(y\\)");
}

TEST_F(PDFHelperTest, StringArraysTakeOneOrManyEntries) {
    ASSERT_TRUE(Read("/U3DPath (Camera One) /SA [(a b) (c)] /MA [(d)(e)]"));
    EXPECT_EQ(dict.Find("U3DPath")->strings, std::vector<std::string>{"Camera One"});
    EXPECT_EQ(dict.Find("SA")->strings, (std::vector<std::string>{"a b", "c"}));
    ASSERT_EQ(dict.Find("MA")->strings.size(), 1u);  // one token: its parentheses join it
}

TEST_F(PDFHelperTest, OneNumberColourIsGrey) {
    ASSERT_TRUE(Read("/BG << /C [0.5] >>"));
    const DictionaryValue* color = dict.Find("BG")->AsDictionary()->Find("C", DictionaryValue::Color);
    ASSERT_NE(color, nullptr);
    EXPECT_FLOAT_EQ(color->numbers[0], 0.5f);
    EXPECT_FLOAT_EQ(color->numbers[1], 0.5f);
    EXPECT_FLOAT_EQ(color->numbers[2], 0.5f);
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

TEST_F(PDFHelperTest, NodeArrayOfReferencesIsIgnoredWithWarning) {
    ASSERT_TRUE(Read("/NA [ 12 0 R 13 0 R ] /XN (after)"));
    const DictionaryValue* na = dict.Find("NA", DictionaryValue::DictionaryArray);
    ASSERT_NE(na, nullptr);
    EXPECT_TRUE(na->dictionaries.empty());
    EXPECT_TRUE(log.Has("Ignored PDF node entries for dictionary 'NA'", 2));
    EXPECT_EQ(dict.Find("XN")->text, "after");
}

TEST_F(PDFHelperTest, NodeArrayOfInlineDictionariesFailsTheRead) {
    EXPECT_FALSE(Read("/XN (v) /NA [<< /N (node) >>]"));
    EXPECT_TRUE(log.Has("<< >> not implemented yet!", 1));
    Dictionary other;
    EXPECT_FALSE(helper.ReadDictionaryFromString("/NA [ << /N (node) >> ]", &other));
}

TEST_F(PDFHelperTest, EmptyNodeArrayIsAccepted) {
    ASSERT_TRUE(Read("/NA [] /CO 1"));
    EXPECT_NE(dict.Find("CO"), nullptr);
}

TEST_F(PDFHelperTest, TextOfBlanksOnlyFails) {
    EXPECT_FALSE(Read(" \t\r\n  "));
    EXPECT_FALSE(Read(""));
}

TEST_F(PDFHelperTest, BadNumbersBecomeZeroWithMessage) {
    ASSERT_TRUE(Read("/CO abc /3DB [0 0 +2 1e1]"));
    EXPECT_FLOAT_EQ(dict.Find("CO")->floatValue, 0.0f);
    EXPECT_TRUE(log.Has("Bad lexical cast from 'abc' - returning 0", 1));
    EXPECT_FLOAT_EQ(dict.Find("3DB")->numbers[2], 2.0f);
    EXPECT_FLOAT_EQ(dict.Find("3DB")->numbers[3], 10.0f);
}

TEST_F(PDFHelperTest, DuplicateKeyKeepsTheFirstValue) {
    ASSERT_TRUE(Read("/CO 1 /CO 2"));
    EXPECT_FLOAT_EQ(dict.Find("CO")->floatValue, 1.0f);
    EXPECT_TRUE(log.Has("Cannot add key-value pair ('CO'-'2') - DUPLICATE!", 2));
}

TEST_F(PDFHelperTest, StreamsAreSkipped) {
    ASSERT_TRUE(Read("/O stream a b c endstream /CO 4"));
    EXPECT_EQ(dict.Find("O")->tag, DictionaryValue::Stream);
    EXPECT_FLOAT_EQ(dict.Find("CO")->floatValue, 4.0f);
}

TEST_F(PDFHelperTest, TruncatedTextKeepsWhatWasRead) {
    ASSERT_TRUE(Read("/CO 1 /XN (never closed"));
    EXPECT_NE(dict.Find("CO"), nullptr);
    EXPECT_EQ(dict.Find("XN"), nullptr);
    ASSERT_TRUE(Read("/3DB [0 0 1"));
    EXPECT_TRUE(log.Has("Advanced beyond the end of the dictionary!", 1));
}

TEST_F(PDFHelperTest, PrintsEveryKindOfValue) {
    ASSERT_TRUE(Read("/XN (v) /NR false /BG << /C [1 0 0] >> /3DB [0 0 4 3] /P << /PS 2.5 >>"));
    std::string text = PDFHelper::PrintDictionary(dict, "");
    EXPECT_EQ(text.rfind("Dictionary:\n{\n", 0), 0u);
    EXPECT_NE(text.find("XN : \"v\""), std::string::npos);
    EXPECT_NE(text.find("NR : false"), std::string::npos);
    EXPECT_NE(text.find("Color( 1, 0, 0 )"), std::string::npos);
    EXPECT_NE(text.find("Rectangle( 0, 0, 4, 3 )"), std::string::npos);
    EXPECT_NE(text.find("<CONTEXT_SPECIFIC> 2.5"), std::string::npos);
    EXPECT_EQ(text.back(), '}');
}

TEST_F(PDFHelperTest, ReadsFromFile) {
    std::string path = ::testing::TempDir() + "view_dictionary.txt";
    std::FILE* file = std::fopen(path.c_str(), "wt");
    ASSERT_NE(file, nullptr);
    std::fputs("/XN (From\nFile)\n/CO 7\n", file);
    std::fclose(file);
    ASSERT_TRUE(helper.ReadDictionaryFromFile(path, &dict));
    EXPECT_EQ(dict.Find("XN")->text, "From File");
    EXPECT_FALSE(helper.ReadDictionaryFromFile(path + ".missing", &dict));
    std::remove(path.c_str());
}

}  // namespace
