#include "quernlight/platform/text.hpp"

#include <gtest/gtest.h>

#include "tests/support/process_state.hpp"

namespace quernlight {
namespace {

TEST(TextTest, TrimmingTakesUnicodeWhiteSpaceAndLineBreaksFromBothEnds) {
    EXPECT_EQ(trimmed(" \t\r\n\u00A0\u2028 a b \u3000\u0085\n"), "a b");
    EXPECT_EQ(trimmed("\n \u2003"), "");
    EXPECT_EQ(trimmed(""), "");
    EXPECT_EQ(trimmed("\u200Bx"), "\u200Bx") << "a zero-width space is not white space";
}

TEST(TextTest, LowerCasingIsUnicodes) {
    EXPECT_EQ(lowercased("ÀÉ IŞ ABC1"), "àé iş abc1");
    EXPECT_EQ(lowercased("ΣΑΣ"), "σας") << "a sigma at the end of a word";
}

TEST(TextTest, ATextIsFoundWhateverItsCase) {
    const test::ScopedUserLanguage english("en");
    EXPECT_TRUE(containsIgnoringCase("The LOGS Required.", "logs required"));
    EXPECT_TRUE(containsIgnoringCase("STRASSE", "straße"));
    EXPECT_TRUE(containsIgnoringCase("\xFF logs", "LOGS"));
    EXPECT_TRUE(containsIgnoringCase("", ""));
    EXPECT_FALSE(containsIgnoringCase("logs  required", "logs required"));
    EXPECT_FALSE(containsIgnoringCase("", "logs"));
}

class TextLanguageTest : public testing::TestWithParam<const char*> {
  protected:
    const test::ScopedUserLanguage language{GetParam()};
};

class TurkicTextTest : public TextLanguageTest {};

TEST_P(TurkicTextTest, TheDottedAndTheDotlessIAreTwoLettersThatBothHaveCapitals) {
    EXPECT_TRUE(containsIgnoringCase("REQUİRED", "required"));
    EXPECT_TRUE(containsIgnoringCase("REQUIRED", "requıred"));
    EXPECT_FALSE(containsIgnoringCase("REQUIRED", "required"));
}

INSTANTIATE_TEST_SUITE_P(Languages, TurkicTextTest, testing::Values("tr_TR", "az", "tr"));

class OtherTextTest : public TextLanguageTest {};

TEST_P(OtherTextTest, TheCapitalOfTheDottedIHasNoDot) {
    EXPECT_TRUE(containsIgnoringCase("REQUIRED", "required"));
    EXPECT_FALSE(containsIgnoringCase("REQUIRED", "requıred"));
}

INSTANTIATE_TEST_SUITE_P(Languages, OtherTextTest, testing::Values("", "en_US", "de"));

TEST(TextTest, CharactersAreCountedAsPeopleSeeThem) {
    EXPECT_EQ(firstCharacters("e\u0301e\u0301x", 2), "e\u0301e\u0301");
    EXPECT_EQ(firstCharacters("👩‍👩‍👧‍👦ab", 2), "👩‍👩‍👧‍👦a");
    EXPECT_EQ(firstCharacters("a\r\nb", 2), "a\r\n");
    EXPECT_EQ(lastCharacters("xe\u0301y", 2), "e\u0301y");
    EXPECT_EQ(lastCharacters("abc", 2), "bc");
    EXPECT_EQ(firstCharacters("ab", 8), "ab");
}

TEST(TextTest, LettersMarksAndNumbersAreAlphanumeric) {
    for (const char32_t scalar : std::u32string(U"aZ9éßΩ字\u0301Ⅳ½")) {
        EXPECT_TRUE(isAlphanumeric(scalar)) << static_cast<unsigned>(scalar);
    }
    for (const char32_t scalar : std::u32string(U" -_!.\u2014€")) {
        EXPECT_FALSE(isAlphanumeric(scalar)) << static_cast<unsigned>(scalar);
    }
}

TEST(TextTest, EachMaximalIllFormedPieceBecomesOneReplacementCharacter) {
    EXPECT_EQ(validUtf8("a\xE2\x80z"), "a\uFFFDz");
    EXPECT_EQ(validUtf8("\xFF\xFE"), "\uFFFD\uFFFD");
    EXPECT_EQ(validUtf8("é›😀"), "é›😀");
    EXPECT_TRUE(isValidUtf8("é›😀"));
    EXPECT_FALSE(isValidUtf8("\xC0\x80"));
}

TEST(TextTest, ALastLineFeedOpensNoFurtherLine) {
    EXPECT_EQ(linesOf("a\n\nb\n"), (std::vector<std::string_view>{"a", "", "b"}));
    EXPECT_TRUE(linesOf("").empty());
}

}  // namespace
}  // namespace quernlight
