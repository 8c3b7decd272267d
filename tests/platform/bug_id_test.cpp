#include "quernlight/platform/identifiers.hpp"

#include <gtest/gtest.h>

namespace quernlight {
namespace {

/// A bug id as somebody wrote it, and its short form.
struct WrittenBugID {
    const char* name;
    const char* written;
    const char* shortForm;
};

void PrintTo(const WrittenBugID& text, std::ostream* out) {
    *out << text.name;
}

class BugIDRuleTest : public testing::TestWithParam<WrittenBugID> {};

TEST_P(BugIDRuleTest, GivesTheShortForm) {
    EXPECT_EQ(BugID::normalized(GetParam().written), GetParam().shortForm);
}

TEST_P(BugIDRuleTest, LeavesAShortFormAsItIs) {
    EXPECT_EQ(BugID::normalized(GetParam().shortForm), GetParam().shortForm);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, BugIDRuleTest,
    testing::Values(
        WrittenBugID{"LongerThanEightWithBlanksAround", "  ABCDEF1234  ", "abcdef12"},
        WrittenBugID{"ShorterThanEight", "Ab1", "ab1"}, WrittenBugID{"Empty", "", ""},
        WrittenBugID{"Blank", " \t\r\n", ""}, WrittenBugID{"SevenCharacters", "ABCDEF1", "abcdef1"},
        WrittenBugID{"EightCharacters", "ABCDEF12", "abcdef12"},
        WrittenBugID{"NineCharacters", "ABCDEF123", "abcdef12"},
        WrittenBugID{"WholeUuid", "3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF", "3f2a9c10"},
        WrittenBugID{"WholeUuidWithBlanksAround", "\n 3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF\t", "3f2a9c10"},
        WrittenBugID{"BlanksInsideAreCounted", "A B C DE F", "a b c de"},
        WrittenBugID{"OtherBlanksOfUnicode", "\u00A0\u2003AB1\u2028", "ab1"},
        WrittenBugID{"CharactersOfSeveralBytes", "\u00C4\u00D6\u00DC\u00C4\u00D6\u00DC\u00C4\u00D6\u00DC",
                     "\u00E4\u00F6\u00FC\u00E4\u00F6\u00FC\u00E4\u00F6"},
        WrittenBugID{"CharactersOfSeveralScalars",
                     "e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301",
                     "e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301"}),
    [](const auto& text) { return std::string(text.param.name); });

TEST(BugIDTest, OnlyAnIDThatStaysInsideItsDirectoryNamesAFile) {
    EXPECT_TRUE(BugID::isSafeFileName("3f2a9c10"));
    EXPECT_TRUE(BugID::isSafeFileName("a b..c"));
    EXPECT_TRUE(BugID::isSafeFileName("a\u00A0b"));
    for (const char* unsafe : {"", ".", "..", "a/b", "../x", "a\nb", "a\x7f", "a\u0085b", "a\u009Fb"}) {
        EXPECT_FALSE(BugID::isSafeFileName(unsafe)) << unsafe;
    }
}

}  // namespace
}  // namespace quernlight
