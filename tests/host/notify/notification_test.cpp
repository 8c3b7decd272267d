#include "host/notify/notification.hpp"

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

boost::json::object parsed(const Notification& notification) {
    return boost::json::parse(jsonLineOf(notification, "/home/dispatch")).as_object();
}

TEST(NotificationTest, ItsLineHoldsAllThatIsKnown) {
    const Notification failure{.kind = NotificationKind::failed,
                               .bugID = "3f2a9c1d",
                               .appName = "Shop",
                               .title = "Crash on launch",
                               .message = "It broke.",
                               .time = parseInstant("2026-03-04T05:06:07Z").value(),
                               .sessionID = parseUuid("00000000-0000-4000-8000-00000000000A")};
    EXPECT_EQ(jsonLineOf(failure, "/home/dispatch"),
              R"({"event":"failed","bug":"3f2a9c1d","app":"Shop","title":"Crash on launch",)"
              R"("message":"It broke.","time":"2026-03-04T05:06:07.000Z",)"
              R"("session":"00000000-0000-4000-8000-00000000000A","home":"/home/dispatch"})"
              "\n");
}

TEST(NotificationTest, WhatIsAboutNoBugSaysSo) {
    const auto line = parsed({.kind = NotificationKind::paused, .message = "No bug is started."});
    EXPECT_TRUE(line.at("bug").is_null());
    EXPECT_TRUE(line.at("app").is_null());
    EXPECT_TRUE(line.at("title").is_null());
    EXPECT_FALSE(line.contains("session"));
}

TEST(NotificationTest, TextFromOutsideStaysOneLineOfValidTextThatAPipeHolds) {
    std::string title = "\"; $(touch x)\n\x1b[2J\xff";
    for (int count = 0; count < 100000; ++count) {
        title += "\x01\u00e4";
    }
    const Notification notification{.bugID = "3f2a9c1d", .appName = title, .title = title, .message = title};
    const std::string line = jsonLineOf(notification, "/home");
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    EXPECT_EQ(line.find('\x1b'), std::string::npos);
    EXPECT_LT(line.size(), 16384U);
    EXPECT_THAT(std::string(parsed(notification).at("title").as_string()),
                testing::AllOf(testing::StartsWith("\"; $(touch x)\n\x1b[2J\uFFFD\x01\u00e4"),
                               testing::EndsWith("…")));
}

}  // namespace
}  // namespace quernlight::host
