#include "host/service/session_text.hpp"

#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

struct TextRow {
    const char* name;
    std::string (*text)(const boost::json::object&);
    const char* json;
    const char* expected;
};

class SessionTextTest : public testing::TestWithParam<TextRow> {};

TEST_P(SessionTextTest, IsForPeople) {
    EXPECT_EQ(GetParam().text(boost::json::parse(GetParam().json).as_object()), GetParam().expected);
}

constexpr const char* worked = R"({"bug":"3f2a9c1d","app":"Shop","title":"Crash","stage_text":"working",
    "detail":"","dispatcher_runs":true,"agent":{"attempt":2,"pid":4711,"since":"2026-03-01T10:00:00Z",
    "state":"idle","rule":"composer","reason":"row 8, empty"},"attempt":{"number":2,"state":"running",
    "pid":4711,"started_at":"2026-03-01T10:00:00Z","ended_at":null,"exit_code":null,
    "worktree":"/code/shop-worktrees/Shop-3f2a9c1d","directory":"/home/sessions/2"}})";
constexpr const char* ended = R"({"bug":"3f2a9c1d","app":"Shop","title":"Crash","stage_text":"failed",
    "detail":"It fell silent.","dispatcher_runs":false,"agent":null,"attempt":{"number":1,"state":"failed",
    "pid":12,"started_at":"2026-03-01T10:00:00Z","ended_at":"2026-03-01T11:00:00Z","exit_code":3,
    "worktree":null,"directory":"/home/sessions/1"}})";

INSTANTIATE_TEST_SUITE_P(
    Table, SessionTextTest,
    testing::Values(
        TextRow{
            "LineOfOneWithoutAnAgent", sessionLine,
            R"({"bug":"3f2a9c1d","app":"Shop","title":"Crash","stage_text":"preparing worktree","agent":null})",
            "3f2a9c1d  Shop          preparing worktree    -         -         Crash\n"},
        TextRow{
            "LineWithTextsFromOutside", sessionLine,
            R"({"bug":"3f2a9c1d","app":"A\u001b[2Jvery long name","title":"Crash","stage_text":"needs you",
                    "detail":"log in\nfirst","agent":{"state":"dialog","since":"?"}})",
            "3f2a9c1d  A [2Jvery l…  needs you             dialog    -         log in first\n"},
        TextRow{"StatusOfOneThatRuns", sessionStatus, worked,
                "3f2a9c1d  Shop          working               Crash\n"
                "agent:      idle (composer: row 8, empty), process 4711, since 2026-03-01T10:00:00Z\n"
                "attempt:    2 (running), from 2026-03-01T10:00:00Z\n"
                "process:    4711\n"
                "worktree:   /code/shop-worktrees/Shop-3f2a9c1d\n"
                "directory:  /home/sessions/2\n"},
        TextRow{
            "StatusOfOneThatHasEnded", sessionStatus, ended,
            "3f2a9c1d  Shop          failed                Crash\n"
            "detail:     It fell silent.\n"
            "agent:      no dispatcher is running\n"
            "attempt:    1 (failed), from 2026-03-01T10:00:00Z to 2026-03-01T11:00:00Z, ended with code 3\n"
            "process:    12\n"
            "worktree:   none\n"
            "directory:  /home/sessions/1\n"},
        TextRow{
            "StatusBeforeAnyAttempt", sessionStatus,
            R"({"bug":"3f2a9c1d","app":"Shop","title":"Crash","stage_text":"queued","dispatcher_runs":true})",
            "3f2a9c1d  Shop          queued                Crash\nagent:      none runs\n"
            "attempt:    none yet\n"},
        TextRow{"PictureWithoutBlankLinesAtItsEnd", pictureText,
                R"({"screen":{"lines":["","  › a\u001b[2J","","b","",""]}})", "\n  › a [2J\n\nb\n"},
        TextRow{"PictureOfNothing", pictureText, R"({"screen":{"lines":["",""]}})", ""},
        TextRow{"PictureInAnUnknownForm", pictureText, R"({"screen":7})", ""},
        TextRow{"ExplanationOfADialog", explanationText,
                R"({"agent":{"state":"dialog"},"rules":["options: trust question","composer: no"],
                    "composer":null,"dialog":{"kind":"trust question","question":"Trust this folder?",
                    "options":[{"number":1,"text":"Yes","selected":true},
                               {"number":2,"text":"No","selected":false}]},
                    "usage_limit":null,"notice":null})",
                "agent: dialog, by the first rule that applies\n"
                "  options: trust question\n"
                "  composer: no\n"
                "composer: none\n"
                "dialog: trust question: Trust this folder?\n"
                "  › 1. Yes\n"
                "    2. No\n"
                "usage limit: none\n"
                "notice: none\n"},
        TextRow{"ExplanationOfAUsageLimitWithoutATime", explanationText,
                R"({"agent":{"state":"idle"},"rules":[],"composer":"","dialog":null,"usage_limit":"",
                    "notice":"You have hit your limit."})",
                "agent: idle, by the first rule that applies\n"
                "composer: empty\n"
                "dialog: none\n"
                "usage limit: without a time\n"
                "notice: You have hit your limit.\n"}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace quernlight::host
