#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "util/Strings.h"

using namespace Velmora::Utility;

TEST(Strings, SurrogatePairs) {
    const char16_t pair[] = {0xD83D, 0xDE00, 0xDBFF, 0xDFFF, 0};
    EXPECT_EQ(WideToUtf8(pair), "\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF");
    EXPECT_EQ(Utf8ToWide("\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF"), std::u16string(pair));
    EXPECT_EQ(Utf8ToWide("\xF0\x90\x80\x80"), (std::u16string{0xD800, 0xDC00}));
}

TEST(Strings, LoneSurrogatesBecomeReplacement) {
    const std::string fffd = "\xEF\xBF\xBD";
    const char16_t loneHigh[] = {u'a', 0xD800, u'b', 0};
    EXPECT_EQ(WideToUtf8(loneHigh), "a" + fffd + "b");
    const char16_t loneLow[] = {0xDC00, u'x', 0};
    EXPECT_EQ(WideToUtf8(loneLow), fffd + "x");
    const char16_t highAtEnd[] = {u'x', 0xDBFF, 0};
    EXPECT_EQ(WideToUtf8(highAtEnd), "x" + fffd);
    const char16_t twoHighs[] = {0xD800, 0xD800, 0xDC00, 0};
    EXPECT_EQ(WideToUtf8(twoHighs), fffd + "\xF0\x90\x80\x80");
}

TEST(Strings, IllFormedUtf8BecomesReplacement) {
    const std::u16string r = u"\uFFFD";
    EXPECT_EQ(Utf8ToWide("a\x80"
                         "b"),
              u"a" + r + u"b");                                // stray continuation
    EXPECT_EQ(Utf8ToWide("\xC0\xAF"), r + r);                  // overlong lead C0
    EXPECT_EQ(Utf8ToWide("\xE0\x80\xAF"), r + r + r);          // overlong 3-byte
    EXPECT_EQ(Utf8ToWide("\xED\xA0\x80"), r + r + r);          // encoded surrogate
    EXPECT_EQ(Utf8ToWide("\xF4\x90\x80\x80"), r + r + r + r);  // above U+10FFFF
    EXPECT_EQ(Utf8ToWide("\xF5\x80"), r + r);                  // invalid lead
    EXPECT_EQ(Utf8ToWide("\xE2\x82"), r);                      // truncated at the end
    EXPECT_EQ(Utf8ToWide("\xE2\x82"
                         "A"),
              r + u"A");  // truncated, then ASCII
    EXPECT_EQ(Utf8ToWide("\xF0\x9F\x98"
                         "\xC3\xA9"),
              r + u"\u00e9");  // truncated 4-byte
    EXPECT_EQ(Utf8ToWide("\xFF\xFE"), r + r);
}

TEST(SystemStrings, Layout) {
    char16_t* s = MakeBstr(u"hello", 5);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(SystemStringByteLength(s), 10u);
    EXPECT_EQ(SystemStringLength(s), 5u);
    uint32_t stored = 0;
    std::memcpy(&stored, reinterpret_cast<const char*>(s) - 4, 4);
    EXPECT_EQ(stored, 10u);
    EXPECT_EQ(std::u16string(s), u"hello");
    EXPECT_EQ(s[5], u'\0');
    FreeSystemString(s);
}
