#include "quernlight/platform/identifiers.hpp"

#include <string>

#include <gtest/gtest.h>

namespace quernlight {
namespace {

constexpr const char* canonical = "3F2A9C1D-0000-4000-8000-00000000ABCD";

TEST(UuidTest, CanonicalTextOfAnyCaseIsRead) {
    const auto uuid = parseUuid("3f2a9C1d-0000-4000-8000-00000000abCD");
    ASSERT_TRUE(uuid);
    EXPECT_EQ(upperCaseText(*uuid), canonical);
    EXPECT_EQ(lowerCaseText(*uuid), "3f2a9c1d-0000-4000-8000-00000000abcd");
}

TEST(UuidTest, AnyOtherFormIsNotRead) {
    const char* const rows[] = {"",
                                "3F2A9C1D",
                                "3F2A9C1D00004000800000000000ABCD",
                                "{3F2A9C1D-0000-4000-8000-00000000ABCD}",
                                "urn:uuid:3F2A9C1D-0000-4000-8000-00000000ABCD",
                                "3F2A9C1D-0000-4000-8000-00000000ABCG",
                                "3F2A9C1D-0000-4000-8000-00000000ABCD ",
                                " 3F2A9C1D-0000-4000-8000-00000000ABCD",
                                "3F2A9C1D-0000-4000-8000-00000000ABCDE",
                                "3F2A9C1D-0000-4000-8000-00000000ABC",
                                "3F2A9C1D00-00-4000-8000-00000000ABCD",
                                "3F2A9C1D_0000_4000_8000_00000000ABCD"};
    for (const char* row : rows) {
        SCOPED_TRACE(row);
        EXPECT_FALSE(parseUuid(row));
    }
}

TEST(UuidTest, AnyVersionIsRead) {
    EXPECT_TRUE(parseUuid("00000000-0000-0000-0000-000000000000"));
    EXPECT_TRUE(parseUuid("ffffffff-ffff-ffff-ffff-ffffffffffff"));
}

TEST(UuidTest, RandomOnesAreOfVersionFourAndDiffer) {
    const Uuid first = randomUuid();
    EXPECT_NE(first, randomUuid());
    EXPECT_EQ(first.version(), Uuid::version_random_number_based);
}

/// A bug id as somebody wrote it, and its short form.
struct WrittenBugID {
    const char* name;
    const char* written;
    const char* shortForm;
};

TEST(BugIDTest, EveryWrittenFormHasOneShortFormWhichStaysAsItIs) {
    const WrittenBugID rows[] = {
        {"LongerThanEightWithBlanksAround", "  ABCDEF1234  ", "abcdef12"},
        {"ShorterThanEight", "Ab1", "ab1"},
        {"Empty", "", ""},
        {"Blank", " \t\r\n", ""},
        {"SevenCharacters", "ABCDEF1", "abcdef1"},
        {"EightCharacters", "ABCDEF12", "abcdef12"},
        {"NineCharacters", "ABCDEF123", "abcdef12"},
        {"WholeUuid", "3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF", "3f2a9c10"},
        {"WholeUuidWithBlanksAround", "\n 3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF\t", "3f2a9c10"},
        {"BlanksInsideAreCounted", "A B C DE F", "a b c de"},
        {"OtherBlanksOfUnicode", "\u00A0\u2003AB1\u2028", "ab1"},
        {"CharactersOfSeveralBytes", "\u00C4\u00D6\u00DC\u00C4\u00D6\u00DC\u00C4\u00D6\u00DC",
         "\u00E4\u00F6\u00FC\u00E4\u00F6\u00FC\u00E4\u00F6"},
        {"CharactersOfSeveralScalars", "e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301",
         "e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301"},
    };
    for (const WrittenBugID& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(BugID::normalized(row.written), row.shortForm);
        EXPECT_EQ(BugID::normalized(row.shortForm), row.shortForm);
    }
}

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
