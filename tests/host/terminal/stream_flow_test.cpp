#include "host/terminal/stream_flow.hpp"

#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using testing::Optional;
using Piece = StreamFlow::Piece;

constexpr FlowLimits small{.pausedAt = 100, .resumedAt = 5, .mostHeld = 1000, .mostAtOnce = 16};

/// A flow that began at byte 10, whose picture of `picture` bytes was sent.
StreamFlow shown(std::size_t picture = 0) {
    StreamFlow flow(10, small);
    flow.sentPicture(10, picture);
    return flow;
}

std::string bytes(std::size_t count) {
    return std::string(count, 'x');
}

/// All that can be sent now, in bytes.
std::size_t drain(StreamFlow& flow) {
    std::size_t sent = 0;
    while (const auto piece = flow.next()) {
        sent += piece->bytes.size();
    }
    return sent;
}

TEST(StreamFlowTest, WhatASituationLeadsTo) {
    const struct {
        const char* name;
        std::function<void(StreamFlow&)> before;
        bool isPaused, wantsPicture;
        std::size_t held;
        std::size_t sent;  // that can be
    } rows[] = {
        {"nothing came", [](StreamFlow&) {}, false, false, 0, 0},
        {"a little came", [](StreamFlow& flow) { flow.wrote(10, bytes(40)); }, false, false, 40, 40},
        {"it is sent until too much is not acknowledged",
         [](StreamFlow& flow) { flow.wrote(10, bytes(500)); }, false, false, 500, 112},
        {"paused, it is held",
         [](StreamFlow& flow) {
             flow.wrote(10, bytes(500));
             drain(flow);
         },
         true, false, 388, 0},
        {"not enough is acknowledged",
         [](StreamFlow& flow) {
             flow.wrote(10, bytes(500));
             drain(flow);
             flow.acknowledged(106);
         },
         true, false, 388, 0},
        {"enough is",
         [](StreamFlow& flow) {
             flow.wrote(10, bytes(500));
             drain(flow);
             flow.acknowledged(107);
         },
         false, false, 388, 96},
        {"more is acknowledged than was sent",
         [](StreamFlow& flow) {
             flow.wrote(10, bytes(500));
             drain(flow);
             flow.acknowledged(1'000'000);
         },
         false, false, 388, 112},
        {"an old acknowledgement changes nothing",
         [](StreamFlow& flow) {
             flow.wrote(10, bytes(500));
             drain(flow);
             flow.acknowledged(112);
             flow.acknowledged(1);
         },
         false, false, 388, 112},
        {"so much is held that it is dropped",
         [](StreamFlow& flow) {
             flow.wrote(10, bytes(500));
             drain(flow);
             flow.wrote(510, bytes(700));
         },
         true, false, 0, 0},
        {"nothing is held for a picture that comes later",
         [](StreamFlow& flow) {
             flow.wrote(10, bytes(500));
             drain(flow);
             flow.wrote(510, bytes(700));
             flow.wrote(1210, bytes(700));
         },
         true, false, 0, 0},
        {"then a picture is wanted",
         [](StreamFlow& flow) {
             flow.wrote(10, bytes(500));
             drain(flow);
             flow.wrote(510, bytes(700));
             flow.acknowledged(112);
             flow.wrote(1210, bytes(50));
         },
         false, true, 50, 0},
        {"behind which it goes on",
         [](StreamFlow& flow) {
             flow.wrote(10, bytes(500));
             drain(flow);
             flow.wrote(510, bytes(700));
             flow.acknowledged(112);
             flow.wrote(1210, bytes(50));
             flow.sentPicture(1220, 20);
         },
         false, false, 40, 40},
        {"one flood is too much for one that is not paused",
         [](StreamFlow& flow) { flow.wrote(10, bytes(1001)); }, false, true, 0, 0},
    };
    for (const auto& row : rows) {
        StreamFlow flow = shown();
        row.before(flow);
        EXPECT_EQ(flow.isPaused(), row.isPaused) << row.name;
        EXPECT_EQ(flow.wantsPicture(), row.wantsPicture) << row.name;
        EXPECT_EQ(flow.held(), row.held) << row.name;
        EXPECT_EQ(drain(flow), row.sent) << row.name;
    }
}

TEST(StreamFlowTest, PiecesCarryTheNumberOfTheirFirstByte) {
    StreamFlow flow = shown();
    flow.wrote(10, "0123456789abcdefghij");
    EXPECT_THAT(flow.next(), Optional(Piece{.first = 10, .bytes = "0123456789abcdef"}));
    EXPECT_THAT(flow.next(), Optional(Piece{.first = 26, .bytes = "ghij"}));
    EXPECT_EQ(flow.next(), std::nullopt);
}

TEST(StreamFlowTest, WhatAPictureShowsIsNotSentAgain) {
    StreamFlow flow(10, small);
    flow.wrote(10, "0123456789");
    EXPECT_EQ(flow.next(), std::nullopt);
    EXPECT_TRUE(flow.canGoOnBehind(14));
    flow.sentPicture(14, 30);
    EXPECT_THAT(flow.next(), Optional(Piece{.first = 14, .bytes = "456789"}));
}

TEST(StreamFlowTest, APictureOfTooLittleIsFollowedByAnother) {
    StreamFlow flow(10, small);
    EXPECT_FALSE(flow.canGoOnBehind(9));
    flow.sentPicture(9, 30);
    EXPECT_TRUE(flow.wantsPicture());
}

TEST(StreamFlowTest, ALargePictureIsWaitedFor) {
    StreamFlow flow = shown(100);
    flow.wrote(10, "x");
    EXPECT_EQ(flow.next(), std::nullopt);
    flow.acknowledged(100);
    EXPECT_THAT(flow.next(), Optional(Piece{.first = 10, .bytes = "x"}));
}

}  // namespace
}  // namespace quernlight::host
