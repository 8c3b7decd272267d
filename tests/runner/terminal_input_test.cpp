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
    };
    for (const Row& row : rows) {
        EXPECT_EQ(dataForPTYWrite(row.input), row.expected) << testing::PrintToString(row.input);
    }
}

TEST(TerminalInputEncodingTest, ALoneLineFeedBecomesACarriageReturn) {
    EXPECT_EQ(dataForPTYWrite("a\nb"), "a\rb");
}

TEST(TerminalInputEncodingTest, ACarriageReturnWithItsLineFeedIsOneCarriageReturn) {
    EXPECT_EQ(dataForPTYWrite("a\r\nb\nc"), "a\rb\rc");
    EXPECT_EQ(dataForPTYWrite("\r\n\n"), "\r\r");
    EXPECT_EQ(dataForPTYWrite("\r\r\n"), "\r\r");
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

TEST(InitialPromptSendPlanTest, AnEmptyPromptHasNoChunks) {
    EXPECT_EQ(InitialPromptSendPlan::chunks(""), Chunks());
}

TEST(InitialPromptSendPlanTest, TextWithoutALineFeedAtItsEndGetsOneAndThenEnter) {
    EXPECT_EQ(InitialPromptSendPlan::chunks("one\ntwo"), (Chunks{"one\ntwo\n", "\n"}));
}

TEST(InitialPromptSendPlanTest, TextThatEndsInOneLineFeedStaysAsItIs) {
    EXPECT_EQ(InitialPromptSendPlan::chunks("one\n"), (Chunks{"one\n", "\n"}));
    EXPECT_EQ(InitialPromptSendPlan::chunks("\n"), (Chunks{"\n", "\n"}));
}

TEST(InitialPromptSendPlanTest, TextThatEndsInTwoLineFeedsLosesExactlyOne) {
    EXPECT_EQ(InitialPromptSendPlan::chunks("one\n\n"), (Chunks{"one\n", "\n"}));
    EXPECT_EQ(InitialPromptSendPlan::chunks("one\n\n\n"), (Chunks{"one\n\n", "\n"}));
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
