#include <map>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"
#include "tests/host/terminal_shell.hpp"

namespace quernlight {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Key;
using testing::Not;
using testing::Pair;

class DoctorCommandTest : public test::DispatchFixture {
  protected:
    std::vector<std::string> words(const std::vector<std::string>& more = {}) {
        std::vector<std::string> all{"doctor", "--home", home(), "--token-file", tokenFile()};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    void useBackend() {
        startBackend();
        ASSERT_EQ(dispatch({"config", "set", "backend.url", runWith()[2], "--home", home()}).exitCode, 0);
    }
    /// Each check's worst verdict. Every finding has its four members.
    std::map<std::string, std::string> verdicts(const std::vector<std::string>& more = {}) {
        std::vector<std::string> asked = words(more);
        asked.emplace_back("--json");
        outcome = dispatch(asked);
        std::map<std::string, std::string> found;
        const boost::json::value answer = boost::json::parse(outcome.output);
        for (const boost::json::value& value : answer.as_array()) {
            const auto& finding = value.as_object();
            EXPECT_EQ(finding.size(), 4U);
            EXPECT_TRUE(finding.at("advice").is_null() || finding.at("advice").is_string());
            auto& verdict = found[std::string(finding.at("check").as_string())];
            verdict = std::max(verdict, std::string(finding.at("verdict").as_string()), isBetter);
        }
        return found;
    }
    static bool isBetter(const std::string& left, const std::string& right) {
        const auto rank = [](const std::string& verdict) {
            return verdict == "stops" ? 3 : verdict == "warning" ? 2 : verdict == "ok" ? 1 : 0;
        };
        return rank(left) < rank(right);
    }

    test::Outcome outcome;
};

TEST_F(DoctorCommandTest, WhereAllIsWellNothingStopsTheRoad) {
    mapApp();
    useBackend();
    const auto found = verdicts();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output;
    for (const char* check :
         {"disk", "owner", "token", "backend", "token store", "git", "agent", "agent login", "agent goals",
          "agent records", "agent tools", "agent service", "agent trust"}) {
        EXPECT_THAT(found, Contains(Pair(check, "ok"))) << outcome.output;
    }
    EXPECT_THAT(found, Contains(Pair("home", "warning")));  // the test's lies in a temporary directory
    EXPECT_THAT(found, Contains(Pair("app Shop", "warning")));
}

TEST_F(DoctorCommandTest, WhereNothingIsThereAllIsToldAndNothingIsMade) {
    environment["PATH"] = "/usr/bin:/bin";
    const auto told = dispatch({"doctor", "--home", home()});
    EXPECT_EQ(told.exitCode, 1);
    EXPECT_THAT(told.output, AllOf(HasSubstr("There is none at " + home().string() + " yet."),
                                   HasSubstr("stops    backend"), HasSubstr("stops    token store"),
                                   HasSubstr("stops    agent "), HasSubstr("stops    mappings"),
                                   HasSubstr("ok       git"), HasSubstr("\n  Map one: ")));
    EXPECT_FALSE(std::filesystem::exists(home()));
}

TEST_F(DoctorCommandTest, ABackendThatRefusesOrIsAwayIsOneCauseAmongOthers) {
    mapApp();
    useBackend();
    test::writeFile(tokenFile(), "a-wrong-secret");
    EXPECT_THAT(verdicts(), AllOf(Contains(Pair("backend", "stops")), Contains(Pair("agent", "ok"))));
    EXPECT_THAT(outcome.output, AllOf(HasSubstr("HTTP 401"), Not(HasSubstr("a-wrong-secret"))));
    stopBackend();
    EXPECT_THAT(verdicts(), Contains(Pair("backend", "stops")));
    EXPECT_EQ(outcome.exitCode, 1);
}

TEST_F(DoctorCommandTest, AMappingWhoseRepositoryHasGoneIsNamed) {
    mapApp();
    useBackend();
    std::filesystem::remove_all(repository.directory());
    EXPECT_THAT(verdicts(), Contains(Pair("app Shop", "stops")));
    EXPECT_THAT(outcome.output, HasSubstr("There is no git repository at "));
}

TEST_F(DoctorCommandTest, BesideAnOwnerItSaysThatOneRuns) {
    mapApp();
    useBackend();
    const auto owner = start(runWith());
    ASSERT_TRUE(test::eventually([&] {
        verdicts();
        return outcome.output.find("A dispatcher runs for this home.") != std::string::npos;
    })) << outcome.output;
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output;
}

TEST_F(DoctorCommandTest, AQueueThatCannotBeReadIsAFinding) {
    test::writeFile(queueFile(), std::string(4096, 'x'));
    EXPECT_THAT(verdicts(), AllOf(Contains(Pair("queue", "stops")), Contains(Key("git"))));
}

TEST_F(DoctorCommandTest, OnATerminalLinesFitAndAreColouredUnlessNobodyWantsThat) {
    environment["TERM"] = "xterm";
    test::TerminalShell coloured({"doctor", "--home", home()}, environment);
    EXPECT_THAT(coloured.shownUpToTheEnd(),
                AllOf(HasSubstr("\x1b[33mstops\x1b[0m    mappings"), HasSubstr("No app is mapped to a "),
                      HasSubstr("…"), HasSubstr("status 1")));
    environment["NO_COLOR"] = "1";
    test::TerminalShell bare({"doctor", "--home", home()}, environment);
    EXPECT_THAT(bare.shownUpToTheEnd(), AllOf(HasSubstr("stops    mappings"), Not(HasSubstr("\x1b[33m"))));
}

}  // namespace
}  // namespace quernlight
