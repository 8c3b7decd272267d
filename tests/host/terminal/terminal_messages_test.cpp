#include "host/terminal/terminal_messages.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using testing::Optional;

TEST(TerminalMessagesTest, EachMessageIsReadAsItWasWritten) {
    const TerminalMessage messages[] = {
        PictureBegins{.bug = "3f2a9c1d",
                      .attempt = 2,
                      .title = "shop \"a\"",
                      .size = {.columns = 120, .rows = 40},
                      .setsSize = true,
                      .byte = 1234567890123,
                      .screenBegins = 17},
        SizeChanged{.size = {.columns = 80, .rows = 24}, .setsSize = false},
        SessionEnded{.sentence = "The agent has ended."},
        TerminalBytes{.number = 0x0102030405060708, .bytes = std::string("\0\xff\n", 3)},
        TerminalBytes{},
    };
    for (const TerminalMessage& message : messages) {
        EXPECT_THAT(messageIn(frameOf(message)), Optional(message));
    }
    const ClientMessage fromClient[] = {Keys{.bytes = "\x1b[A\x1d"}, Acknowledgement{.bytes = 100'000},
                                        ClientSize{.size = {.columns = 200, .rows = 50}}};
    for (const ClientMessage& message : fromClient) {
        EXPECT_THAT(clientMessageIn(frameOf(message)), Optional(message));
    }
}

TEST(TerminalMessagesTest, OutputBeginsWithItsNumberMostSignificantByteFirst) {
    const TerminalMessage output = TerminalBytes{.number = 0x0102030405060708, .bytes = "x"};
    EXPECT_EQ(frameOf(output), (ControlFrame{.isText = false, .bytes = "\x01\x02\x03\x04\x05\x06\x07\x08x"}));
}

TEST(TerminalMessagesTest, NonsenseIsNoMessage) {
    for (const char* text : {"", "[]", "{}", "{\"type\":7}", "{\"type\":\"size\"}", "{\"type\":\"other\"}",
                             "{", R"({"type":"size","columns":-1,"rows":20})"}) {
        EXPECT_EQ(clientMessageIn({.bytes = text}), std::nullopt) << text;
    }
    EXPECT_EQ(messageIn({.isText = false, .bytes = "1234567"}), std::nullopt);
    EXPECT_EQ(messageIn({.bytes = "{}"}), std::nullopt);
}

TEST(TerminalMessagesTest, ASizeBeyondAnyTerminalIsCut) {
    const ControlFrame frame{.bytes = R"({"type":"size","columns":99999999999,"rows":24})"};
    EXPECT_THAT(clientMessageIn(frame),
                Optional(ClientMessage(ClientSize{.size = {.columns = 65535, .rows = 24}})));
}

}  // namespace
}  // namespace quernlight::host
