#include "host/tools/bug_json.hpp"

#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

const Uuid id = *parseUuid("0A000000-0000-4000-8000-00000000000A");

TEST(BugJsonTest, AnyMetadataIsShownAsItIs) {
    JSONValue::Object metadata{
        {"text", JSONValue::string("é")}, {"whole", JSONValue::number(3)},
        {"part", JSONValue::number(0.5)}, {"truth", JSONValue::boolean(true)},
        {"nothing", JSONValue::null()},   {"list", JSONValue::array({JSONValue::object({})})}};
    const QLCommentDTO comment{.id = id,
                               .bugID = "3f2a9c1d",
                               .body = "Done.",
                               .createdAt = {},
                               .updatedAt = {},
                               .attachments = {},
                               .authorType = "agent",
                               .metadata = JSONValue::object(std::move(metadata))};
    EXPECT_EQ(
        shownComment(comment).at("metadata"),
        boost::json::parse(R"({"text":"é","whole":3,"part":0.5,"truth":true,"nothing":null,"list":[{}]})"));
}

TEST(BugJsonTest, WhatABugHasIsShownAndWhatItLacksIsLeftOut) {
    QLBugDetailResponse detail;
    detail.bug.id = "3f2a9c1d";
    detail.bug.prURL = Url::parse("https://h/o/r/pull/1");
    detail.logURL = Url::parse("https://h/log");
    detail.attachments.push_back({.id = id,
                                  .bugID = "3f2a9c1d",
                                  .filename = "shot.png",
                                  .contentType = "image/png",
                                  .sizeBytes = 7,
                                  .kind = "image",
                                  .createdAt = {}});
    const boost::json::object shown = shownBug(detail);
    EXPECT_EQ(shown.at("bug").at("pr_url"), "https://h/o/r/pull/1");
    EXPECT_FALSE(shown.at("bug").as_object().contains("description"));
    EXPECT_EQ(shown.at("log_url"), "https://h/log");
    EXPECT_EQ(shown.at("attachments").at(0).at("filename"), "shot.png");
    EXPECT_FALSE(shown.at("attachments").at(0).as_object().contains("download_url"));
}

TEST(BugJsonTest, CommentsThatCouldNotBeReadAreCounted) {
    ReadableList<QLCommentDTO> comments;
    EXPECT_FALSE(shownComments(comments).contains("unreadable"));
    comments.unreadable.resize(2);
    EXPECT_EQ(shownComments(comments).at("unreadable"), 2);
}

}  // namespace
}  // namespace quernlight::host
