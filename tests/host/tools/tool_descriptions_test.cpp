#include "host/tools/tool_descriptions.hpp"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

namespace json = boost::json;
using testing::HasSubstr;

TEST(ToolDescriptionsTest, WhatDoesNotFitIsToldInASentence) {
    const struct {
        const char* tool;
        const char* arguments;
        const char* sentence;  ///< empty: they fit
    } rows[] = {
        {"get_bug", R"({})", ""},
        {"get_bug", R"({"bug_id":"3f2a9c1d"})", ""},
        {"get_bug", R"({"bug_id":null})", ""},
        {"get_bug", R"({"bug_id":7})", R"(The argument "bug_id" must be a text.)"},
        {"get_bug", R"({"bug":"x"})", R"(get_bug has no argument "bug"; it takes "bug_id".)"},
        {"list_bugs", R"({"limit":10})", ""},
        {"list_bugs", R"({"limit":0})", R"(The argument "limit" must be a whole number from 1 to 200.)"},
        {"update_bug_status", R"({"status":"investigate"})", ""},
        {"update_bug_status", R"({})", R"(update_bug_status needs the argument "status".)"},
        {"update_bug_status", R"({"status":"closed"})",
         R"(The argument "status" must be "open", "investigate" or "in_review".)"},
        {"create_comment", R"({"body":"Done.","metadata":{"a":"b"},"attachments":["a.png"]})", ""},
        {"create_comment", R"({"body":null})", R"(create_comment needs the argument "body".)"},
        {"create_comment", R"({"body":"","metadata":{"a":1}})",
         R"(The argument "metadata" must be an object whose values are texts.)"},
        {"create_comment", R"({"body":"","attachments":"a.png"})",
         R"(The argument "attachments" must be a list of texts.)"},
    };
    for (const auto& row : rows) {
        const auto trouble = argumentTrouble(*findTool(row.tool), json::parse(row.arguments).as_object());
        EXPECT_EQ(trouble.value_or(""), row.sentence) << row.arguments;
    }
    EXPECT_EQ(findTool("delete_bug"), nullptr);
}

TEST(ToolDescriptionsTest, EveryToolHasASchemaThatSaysWhatItNeeds) {
    const json::array tools = describedTools();
    ASSERT_EQ(tools.size(), 5U);
    for (const json::value& tool : tools) {
        EXPECT_EQ(tool.at("inputSchema").at("type"), json::value("object"));
        EXPECT_FALSE(tool.at("description").as_string().empty());
    }
    EXPECT_EQ(json::serialize(tools.at(3).at("inputSchema").at("required")), R"(["status"])");
    EXPECT_EQ(tools.at(0).at("annotations").at("readOnlyHint"), json::value(true));
    EXPECT_EQ(tools.at(4).at("annotations").at("readOnlyHint"), json::value(false));
}

}  // namespace
}  // namespace quernlight::host
