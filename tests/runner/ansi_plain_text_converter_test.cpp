#include "quernlight/runner/ansi_plain_text_converter.hpp"

#include <random>

#include <gtest/gtest.h>

#include "quernlight/runner/byte_block.hpp"
#include "quernlight/runner/plain_text_pass.hpp"
#include "tests/runner/plain_by_scalars.hpp"

namespace quernlight {
namespace {

using ANSIPlainTextConverter::plain;
using test::plainByScalars;

TEST(ANSIPlainTextConverterTest, AColourSequenceBetweenLettersDisappears) {
    EXPECT_EQ(plain("a\x1B[31mb\x1B[0mc"), "abc");
}

TEST(ANSIPlainTextConverterTest, AControlSequenceEndsWithTheFirstCharacterFromAtSignToTilde) {
    EXPECT_EQ(plain("\x1B[1@x"), "x");
    EXPECT_EQ(plain("\x1B[15~x"), "x");
    EXPECT_EQ(plain("\x1B[1?\x7Fmx"), "x");
}

TEST(ANSIPlainTextConverterTest, ATitleCommandThatEndsWithABellDisappears) {
    EXPECT_EQ(plain("\x1B]0;a title\ax"), "x");
}

TEST(ANSIPlainTextConverterTest, ATitleCommandThatEndsWithEscapeAndBackslashDisappears) {
    EXPECT_EQ(plain("\x1B]0;a \x1B title\x1B\\x"), "x");
}

TEST(ANSIPlainTextConverterTest, OfAnyOtherEscapeOnlyTheEscapeIsDropped) {
    EXPECT_EQ(plain("\x1B(B"), "(B");
    EXPECT_EQ(plain("\x1B\r"), "\n");
    EXPECT_EQ(plain("\x1B›"), "›");
}

TEST(ANSIPlainTextConverterTest, AnEscapeDirectlyAfterAnEscapeBeginsAnew) {
    EXPECT_EQ(plain("a\x1B\x1B[31mb"), "ab");
}

TEST(ANSIPlainTextConverterTest, ACarriageReturnWithItsLineFeedIsTwoLineFeeds) {
    EXPECT_EQ(plain("a\r\nb"), "a\n\nb");
}

TEST(ANSIPlainTextConverterTest, AnUnfinishedSequenceIsDroppedToTheEnd) {
    EXPECT_EQ(plain("a\x1B"), "a");
    EXPECT_EQ(plain("a\x1B["), "a");
    EXPECT_EQ(plain("a\x1B[31;1"), "a");
    EXPECT_EQ(plain("a\x1B]0;title"), "a");
    EXPECT_EQ(plain("a\x1B]0;title\x1B"), "a");
}

TEST(ANSIPlainTextConverterTest, EveryOtherControlCharacterIsCopied) {
    EXPECT_EQ(plain(std::string_view("a\b\a\t\v\0\x7F", 7)), std::string_view("a\b\a\t\v\0\x7F", 7));
}

TEST(ANSIPlainTextConverterTest, BytesThatAreNotUtf8AreReplaced) {
    EXPECT_EQ(plain("a\xFF\xFE"), "a\uFFFD\uFFFD");
    EXPECT_EQ(plain("\xE2\x80x"), "\uFFFDx");
    EXPECT_EQ(plain("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(plain("x\xF0\x9F\x98"), "x\uFFFD");
    EXPECT_EQ(plain("\xF0\x9F\x98\x80 ›\u00E9"), "\xF0\x9F\x98\x80 ›\u00E9");
}

/// The rule by every kind of block that some machine has.
class PlainTextPassTest : public testing::Test {
  protected:
    static void expectTheRule(const std::string& bytes) {
        ASSERT_EQ(textBy<WordBlock>(bytes), plainByScalars(bytes)) << testing::PrintToString(bytes);
        ASSERT_EQ(textBy<ByteBlock>(bytes), plainByScalars(bytes)) << testing::PrintToString(bytes);
    }

  private:
    template <class Block>
    static std::string textBy(const std::string& bytes) {
        std::string text = "before";
        PlainTextPass<Block>::append(text, bytes);
        return text.substr(6);
    }
};

TEST_F(PlainTextPassTest, ItAgreesWithTheRuleScalarByScalar) {
    const std::vector<std::string> pieces = {
        "\x1B", "\x1B", "[",    "]",    "\\",   "\a",   "\r",   "\n",   "m",         "3", "plain text, long",
        "›",    "é",    "\xE2", "\x80", "\xF0", "\x9F", "\xED", "\xFF", "\U0001F600"};
    std::mt19937 random(20240607);
    std::uniform_int_distribution<std::size_t> piece(0, pieces.size() - 1);
    for (int round = 0; round < 5000; ++round) {
        std::string bytes;
        for (int count = round % 24; count > 0; --count) {
            bytes += pieces[piece(random)];
        }
        expectTheRule(bytes);
    }
}

TEST_F(PlainTextPassTest, ItAgreesWithTheRuleWhereverASequenceBeginsInABlock) {
    for (const std::string sequence :
         {"\x1B[38;2;139;139;139;49mx", "\x1B]0;title\ax", "\x1B]0;\x1B\\x", "─\r\n", "\xE2\x80", "\x1B[",
          "\x1B\x1B[K", "\xED\xA0\x80\xE0\x80\x80"}) {
        for (std::size_t before = 0; before < 40; ++before) {
            expectTheRule(std::string(before, 'a') + sequence + std::string(before % 20, '\r'));
        }
    }
}

TEST_F(PlainTextPassTest, ItAgreesWithTheRuleWhereItsOwnBufferIsFull) {
    for (std::size_t before = 4050; before < 4110; ++before) {
        expectTheRule(std::string(before, 'a') + "›\xFF\xFF\xFF\x1B[1m\r" + std::string(5000, '\xFF'));
    }
}

}  // namespace
}  // namespace quernlight
