#include "platform/Utf.h"

#include <gtest/gtest.h>

using namespace tw;

TEST(Utf, RoundTrip_KeepsEveryPlaneIntact) {
    const std::string text = "Tidewright \xC3\xA9t\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8E\xB5"; // é, €, 🎵
    const std::u16string wide = ToUtf16(text);
    EXPECT_EQ(wide, u"Tidewright \u00E9t\u00E9 \u20AC \U0001F3B5");
    EXPECT_EQ(ToUtf8(wide), text);
    EXPECT_EQ(ToUtf16(std::string("a\0b", 3)).size(), 3u) << "an embedded zero is kept";
}

TEST(Utf, InvalidBytesAndLoneSurrogates_BecomeReplacementCharacters) {
    EXPECT_EQ(ToUtf16("a\xFF"
                      "b"),
              u"a\uFFFDb");
    EXPECT_EQ(ToUtf16("\xC0\xAF"), u"\uFFFD\uFFFD");   // overlong lead is never valid
    EXPECT_EQ(ToUtf16("\xE0\x80\xAF"), u"\uFFFD");     // overlong three-byte form
    EXPECT_EQ(ToUtf16("\xED\xA0\x80"), u"\uFFFD");     // encoded surrogate
    EXPECT_EQ(ToUtf16("\xF4\x90\x80\x80"), u"\uFFFD"); // beyond U+10FFFF
    EXPECT_EQ(ToUtf16("x\xE2\x82"), u"x\uFFFD");       // truncated at the end
    EXPECT_EQ(ToUtf16("\xE2\x82"
                      "A"),
              u"\uFFFD"
              u"A"); // truncated, decoding resumes at 'A'
    // Lone surrogates on the way back, too.
    const char16_t lonelyHigh[] = {u'a', 0xD800, u'b', 0};
    const char16_t lonelyLow[] = {0xDC00, 0};
    EXPECT_EQ(ToUtf8(lonelyHigh), "a\xEF\xBF\xBD"
                                  "b");
    EXPECT_EQ(ToUtf8(lonelyLow), "\xEF\xBF\xBD");
    EXPECT_EQ(ToUtf8(static_cast<const char16_t*>(nullptr)), "");
}

TEST(Utf, CaseFolding_TouchesAsciiLettersOnly) {
    EXPECT_EQ(AsciiLower("PeakFiles \xC3\x89"), "peakfiles \xC3\x89");
    EXPECT_TRUE(EqualsNoCase("Peakfiles", "PeakFiles"));
    EXPECT_FALSE(EqualsNoCase("Peakfile", "PeakFiles"));
    EXPECT_FALSE(EqualsNoCase("\xC3\xA9", "\xC3\x89")); // é and É differ: only ASCII folds
}
