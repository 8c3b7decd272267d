#include <gtest/gtest.h>

#include "quernlight/runner/terminal_input.hpp"

namespace quernlight {
namespace {

using TerminalInputEncoding::dataForPTYWrite;
using Chunks = std::vector<std::string>;

TEST(TerminalInputEncodingTest, LineBreaksBecomeCarriageReturns) {
    struct Row {
        const char* input;
        const char* expected;
    };
    const Row rows[] = {
        {"\n", "\r"},           {"\r", "\r"},
        {"\r\n", "\r"},         {"\r\n\n", "\r\r"},
        {"\n\r", "\r\r"},       {"\n\r\n", "\r\r"},
        {"\r\r\n\n", "\r\r\r"}, {"\n\n", "\r\r"},
        {"\ra\n", "\ra\r"},     {"a\r\nb\nc", "a\rb\rc"},
        {"a\nb", "a\rb"},       {"\r\r\n", "\r\r"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(dataForPTYWrite(row.input), row.expected) << testing::PrintToString(row.input);
    }
}

TEST(TerminalInputEncodingTest, EveryOtherByteIsCopied) {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes.push_back(static_cast<char>(byte));
    }
    std::string expected = bytes;
    expected['\n'] = '\r';
    EXPECT_EQ(dataForPTYWrite(bytes), expected);
    EXPECT_EQ(dataForPTYWrite("›\n"), "›\r");
    EXPECT_EQ(dataForPTYWrite(""), "");
}

TEST(InitialPromptSendPlanTest, TheTextEndsInALineFeedAndThenComesEnter) {
    const std::pair<const char*, Chunks> rows[] = {
        {"", {}},
        {"one\ntwo", {"one\ntwo\n", "\n"}},
        {"one\n", {"one\n", "\n"}},
        {"\n", {"\n", "\n"}},
        {"one\n\n", {"one\n", "\n"}},
        {"one\n\n\n", {"one\n\n", "\n"}},
    };
    for (const auto& [input, chunks] : rows) {
        EXPECT_EQ(InitialPromptSendPlan::chunks(input), chunks) << testing::PrintToString(input);
    }
}

TEST(TypeableTextTest, NoControlCharacterButTheLineFeedIsTyped) {
    EXPECT_EQ(typeableText("a\x03\x04\x15\x1a\x7f\tb\x1b[201~\u009bc\n"), "a      b [201~ c\n");
    EXPECT_EQ(typeableText(std::string_view("a\0b", 3)), "a b");
}

TEST(TypeableTextTest, ACarriageReturnIsNoKeyOfItsOwn) {
    EXPECT_EQ(typeableText("one\r\ntwo\r\n"), "one\ntwo\n");
    EXPECT_EQ(typeableText("one\rtwo\r"), "one two ");
}

TEST(TypeableTextTest, TextBeyondAsciiIsTypedAsItIs) {
    EXPECT_EQ(typeableText("Grüße › 日本 👍\n"), "Grüße › 日本 👍\n");
}

TEST(InitialPromptSendPlanTest, TheChunksAreTypedThirtyFiveHundredthsOfASecondApart) {
    EXPECT_EQ(InitialPromptSendPlan::pauseBetweenChunks, std::chrono::milliseconds(350));
}

}  // namespace
}  // namespace quernlight
