#include <ostream>

#include <gmock/gmock.h>

#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct UsageRow {
    std::vector<std::string> words;
    const char* sentence;  ///< its beginning: more commands and options may come
};

void PrintTo(const UsageRow& row, std::ostream* out) {
    for (const std::string& word : row.words) {
        *out << word << ' ';
    }
}

/// Command lines that cannot be meant.
class UsageTest : public test::DispatchFixture, public testing::WithParamInterface<UsageRow> {};

TEST_P(UsageTest, NamesTheWordThatIsWrongAndEndsWithStatusTwo) {
    const auto outcome = dispatch(GetParam().words);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.error, StartsWith("quernlight-dispatch: " + std::string(GetParam().sentence)));
    EXPECT_EQ(outcome.error.find('\n'), outcome.error.size() - 1);
}

INSTANTIATE_TEST_SUITE_P(
    Table, UsageTest,
    testing::Values(
        UsageRow{{}, "a command is missing; there are: run, status, watch, map, queue"},
        UsageRow{{"rnu"}, "unknown command \"rnu\"; did you mean \"run\"?"},
        UsageRow{{"rnu", "--once"}, "unknown command \"rnu\"; did you mean \"run\"?"},
        UsageRow{{"frobnicate"}, "unknown command \"frobnicate\"; there are: run, status, watch, map, queue"},
        UsageRow{{"queue"}, "a command is missing; there are: list, show, events, add, start"},
        UsageRow{{"queue", "lst"}, "unknown command \"lst\"; did you mean \"list\"?"},
        UsageRow{{"run", "--onse"}, "unknown option \"--onse\"; did you mean \"--once\"?"},
        UsageRow{{"run", "--max-sesions=3"},
                 "unknown option \"--max-sesions\"; did you mean \"--max-sessions\"?"},
        UsageRow{{"run", "--verbose"}, "unknown option \"--verbose\"; see: quernlight-dispatch run --help"},
        UsageRow{{"run", "--max-sessions", "0"},
                 "sessions.max must be a whole number from 1 to 64; \"0\" is not; see: "},
        UsageRow{{"config", "get", "sessions.most"},
                 "setting: There is no setting \"sessions.most\"; there are: sessions.max, "},
        UsageRow{{"config", "unset", "x"}, "setting: There is no setting \"x\"; there are: backend.url, "},
        UsageRow{{"config", "set", "x", "1"}, "setting: There is no setting \"x\"; there are: backend.url, "},
        UsageRow{{"sessions", "show", ""},
                 "bug: the bug's id is empty; give its first eight characters; see: quernlight-dispatch "
                 "sessions show --help"},
        UsageRow{{"queue", "retry", " "}, "bug: the bug's id is empty; give its first eight characters"},
        UsageRow{{"queue", "show", "1", "2"},
                 "unexpected word \"2\"; see: quernlight-dispatch queue show --help"},
        UsageRow{{"queue", "lis\x1b[2J"},
                 "unknown command \"lis\\x1b[2J\"; there are: list, show, events, add, start"},
        UsageRow{{"queue", "list", "--home", ""},
                 "--home: the path is empty; see: quernlight-dispatch queue list --help"},
        UsageRow{{"--home", "/one", "queue", "list", "--home", "/other"},
                 "--home is given twice: /one and /other; a command works on one home"},
        UsageRow{{"--home", "/one"}, "a command is missing; there are: run, status, watch, map, queue"},
        UsageRow{{"queue", "list", "--home"}, "--home needs a directory; give one behind it"},
        UsageRow{{"--home"}, "--home needs a directory; give one behind it"},
        UsageRow{{"--home", "--once"}, "--home needs a directory; give one behind it"},
        UsageRow{{"run", "--token-file", ""},
                 "--token-file: the path is empty; see: quernlight-dispatch run --help"},
        UsageRow{{"run", "--token-file", "token", "--log-file", ""},
                 "--log-file: the path is empty; see: quernlight-dispatch run --help"}));

using HomeTest = test::DispatchFixture;

TEST_F(HomeTest, TheHomeMayStandAnywhereOnTheLine) {
    ASSERT_EQ(dispatch({"config", "set", "sessions.max", "7", "--home", home()}).exitCode, 0);
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"--home", home(), "config", "list"},
          {"--home=" + home().string(), "config", "list"},
          {"config", "--home", home(), "list"},
          {"--home", home(), "config", "list", "--home", home()},
          {"--home", home() / "", "config", "list", "--home", home()}}) {
        const auto listed = dispatch(words);
        EXPECT_EQ(listed.exitCode, 0) << listed.error;
        EXPECT_THAT(listed.output, testing::ContainsRegex("sessions\\.max +7")) << words.front();
    }
}

using AskedForTest = test::DispatchFixture;

TEST_F(AskedForTest, HelpAndVersionGoToStandardOutput) {
    const auto help = dispatch({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_THAT(help.output, HasSubstr("queue"));
    const auto version = dispatch({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_THAT(version.output, testing::MatchesRegex("quernlight-dispatch [0-9.]+\n"));
}

}  // namespace
}  // namespace quernlight
