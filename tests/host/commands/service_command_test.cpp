#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/process/home_lock.hpp"
#include "tests/host/dispatch_fixture.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

namespace fs = std::filesystem;

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using Words = std::vector<std::string>;

/// A systemctl of the test's own stands in for the user's manager: it writes down what it is told, and
/// answers what the file "state" holds; without that file it fails as it does where there is no manager.
class ServiceCommandTest : public test::DispatchFixture {
  protected:
    void SetUp() override {
        environment["PATH"] = repository.scratch("fake").string() + ":" + environment["PATH"];
        environment["XDG_CONFIG_HOME"] = repository.scratch("config");
        test::writeFile(fake("systemctl"), R"(#!/bin/sh
here=$(dirname "$0")
if [ ! -e "$here/state" ]; then
    echo 'Failed to connect to bus: No medium found' >&2
    exit 1
fi
case $2 in show) cat "$here/state" ;; *) echo "$@" >> "$here/told" ;; esac
)");
        fs::permissions(fake("systemctl"), fs::perms::owner_all);
        managerSays("UnitFileState=\nActiveState=inactive\nMainPID=0\nResult=success\n");
        ASSERT_EQ(command({"config", "set", "backend.url", "http://127.0.0.1:9"}).exitCode, 0);
    }
    test::Outcome command(Words words) {
        words.insert(words.end(), {"--home", home()});
        return dispatch(words);
    }
    test::Outcome install(Words more = {"--yes"}) {
        Words words{"service", "install", "--token-file", tokenFile()};
        words.insert(words.end(), more.begin(), more.end());
        return command(words);
    }
    fs::path fake(const std::string& name) const { return repository.scratch("fake") / name; }
    fs::path unit() const {
        return repository.scratch("config") / "systemd/user/quernlight-dispatch.service";
    }
    void managerSays(const std::string& state) { test::writeFile(fake("state"), state); }
    void removeManager() { fs::remove(fake("state")); }
    std::string told() const { return fs::exists(fake("told")) ? test::readFile(fake("told")) : ""; }
};

TEST_F(ServiceCommandTest, InstallsStartsAndRemoves) {
    const auto installed = install();
    ASSERT_EQ(installed.exitCode, 0) << installed.error;
    EXPECT_THAT(installed.output, HasSubstr(test::readFile(unit())));
    EXPECT_THAT(test::readFile(unit()), HasSubstr("\"--home\" \"" + home().string() + "\""));
    EXPECT_THAT(test::readFile(unit()), Not(HasSubstr(token)));
    EXPECT_EQ(told(),
              "--user daemon-reload\n--user enable quernlight-dispatch.service\n"
              "--user restart quernlight-dispatch.service\n");
    fs::remove(fake("told"));
    const auto removed = command({"service", "uninstall"});
    EXPECT_EQ(removed.exitCode, 0) << removed.error;
    EXPECT_FALSE(fs::exists(unit()));
    EXPECT_EQ(told(), "--user disable --now quernlight-dispatch.service\n--user daemon-reload\n");
}

TEST_F(ServiceCommandTest, DoesNotRestartWhatRunsSoAlready) {
    ASSERT_EQ(install().exitCode, 0);
    fs::remove(fake("told"));
    managerSays("UnitFileState=enabled\nActiveState=active\nMainPID=4711\n");
    EXPECT_THAT(install().output, HasSubstr("runs already; nothing was changed"));
    EXPECT_EQ(told(), "");
}

TEST_F(ServiceCommandTest, TakesTheTokenFileThatTheEnvironmentNames) {
    environment["QUERNLIGHT_TOKEN_FILE"] = tokenFile();
    ASSERT_EQ(command({"service", "install", "--yes"}).exitCode, 0);
    EXPECT_THAT(test::readFile(unit()), HasSubstr("\"--token-file\" \"" + tokenFile().string() + "\""));
}

TEST_F(ServiceCommandTest, TheServiceRunsAsItIsToldTo) {
    ASSERT_EQ(command({"config", "unset", "backend.url"}).exitCode, 0);
    const Words options{"--listen",       "8080", "--backend", "https://bugs.example",
                        "--max-sessions", "3",    "--log-json"};
    Words words{"--dry-run"};
    words.insert(words.end(), options.begin(), options.end());
    const std::string line =
        R"( "--backend" "https://bugs.example" "--max-sessions" "3" "--listen" "8080" "--log-json")";
    EXPECT_THAT(install(words).output, HasSubstr(line));
    words.front() = "--yes";
    const auto installed = install(words);
    EXPECT_EQ(installed.exitCode, 0) << installed.error;
    EXPECT_THAT(test::readFile(unit()), HasSubstr(line));
}

TEST_F(ServiceCommandTest, WhatRunWouldRefuseIsRefusedBeforeItIsWritten) {
    const struct {
        Words options;
        int status;
        const char* sentence;
    } rows[] = {
        {{"--listen", "0x50"}, 2, "give a port, a number from 0 to 65535"},
        {{"--max-sessions", "lots"}, 2, "sessions.max must be a whole number"},
        {{"--backend", "no address"}, 1, "is not a valid"},
    };
    for (const auto& row : rows) {
        Words words{"--yes"};
        words.insert(words.end(), row.options.begin(), row.options.end());
        const auto refused = install(words);
        EXPECT_EQ(refused.exitCode, row.status) << refused.error;
        EXPECT_THAT(refused.error, HasSubstr(row.sentence));
    }
    EXPECT_FALSE(fs::exists(unit()));
}

TEST_F(ServiceCommandTest, ForProgramsItIsOneObject) {
    const auto installed = boost::json::parse(install({"--yes", "--json"}).output).as_object();
    EXPECT_EQ(installed.size(), 3U);
    EXPECT_EQ(installed.at("file").as_string(), unit().string());
    EXPECT_EQ(installed.at("changed"), true);
    EXPECT_THAT(std::string(installed.at("sentence").as_string()), StartsWith("The dispatcher is started"));
    const auto shown = boost::json::parse(install({"--dry-run", "--json"}).output).as_object();
    EXPECT_EQ(shown.size(), 2U);
    EXPECT_EQ(shown.at("text").as_string(), test::readFile(unit()));
    EXPECT_THAT(install({"--json"}).error, HasSubstr("add --yes, or --dry-run"));
    const auto removed = boost::json::parse(command({"service", "uninstall", "--json"}).output).as_object();
    EXPECT_EQ(removed.size(), 3U);
    EXPECT_EQ(removed.at("changed"), true);
    const auto none = boost::json::parse(command({"service", "uninstall", "--json"}).output).as_object();
    EXPECT_EQ(none.at("changed"), false);
}

TEST_F(ServiceCommandTest, OnlyShowsTheFileInADryRun) {
    const auto shown = install({"--dry-run"});
    EXPECT_EQ(shown.exitCode, 0) << shown.error;
    EXPECT_THAT(shown.output, StartsWith("# " + unit().string() + "\n# Written by \"quernlight-dispatch"));
    EXPECT_FALSE(fs::exists(unit()));
    EXPECT_EQ(told(), "");
}

TEST_F(ServiceCommandTest, WritesNothingThatNobodyAgreedTo) {
    const auto refused = install({});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.error, HasSubstr("There is no terminal to ask on"));
    EXPECT_FALSE(fs::exists(unit()));
}

TEST_F(ServiceCommandTest, LeavesAFileAloneThatSomebodyElseMade) {
    test::writeFile(unit(), "[Service]\n");
    for (const auto& outcome : {install(), command({"service", "uninstall"})}) {
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.error, HasSubstr("was not made by this program"));
    }
    EXPECT_EQ(test::readFile(unit()), "[Service]\n");
    EXPECT_EQ(told(), "");
}

TEST_F(ServiceCommandTest, SaysSoWhereThereIsNoManager) {
    removeManager();
    const auto installed = install();
    EXPECT_EQ(installed.exitCode, 0);
    EXPECT_THAT(installed.output, HasSubstr("There is no systemd user manager to be asked here (Failed to "
                                            "connect to bus: No medium found); the file is written"));
    EXPECT_THAT(installed.output, HasSubstr("type: systemctl --user daemon-reload && "));
    EXPECT_THAT(command({"service", "status"}).output, HasSubstr("it is not known whether it runs"));
    EXPECT_THAT(command({"service", "uninstall"}).output, HasSubstr("nothing was stopped"));
    EXPECT_FALSE(fs::exists(unit()));
}

TEST_F(ServiceCommandTest, DoesNotStartASecondOwner) {
    const host::HomeLock owner(home());
    const auto refused = install();
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.error, HasSubstr("belongs to"));
    EXPECT_FALSE(fs::exists(unit()));
}

TEST_F(ServiceCommandTest, WantsABackendFirst) {
    ASSERT_EQ(command({"config", "unset", "backend.url"}).exitCode, 0);
    EXPECT_THAT(install().error, HasSubstr("config set backend.url"));
}

TEST_F(ServiceCommandTest, TellsHowItIs) {
    const auto none = boost::json::parse(command({"service", "status", "--json"}).output).as_object();
    EXPECT_EQ(none.at("installed"), false);
    EXPECT_EQ(none.at("log"), nullptr);
    ASSERT_EQ(install().exitCode, 0);
    managerSays("UnitFileState=enabled\nActiveState=active\nMainPID=4711\nResult=success\n");
    const auto runs = boost::json::parse(command({"service", "status", "--json"}).output).as_object();
    EXPECT_EQ(runs.at("installed"), true);
    EXPECT_EQ(runs.at("enabled"), true);
    EXPECT_EQ(runs.at("running"), true);
    EXPECT_EQ(runs.at("process"), 4711);
    EXPECT_EQ(runs.at("log").as_string(), (home() / "service.log").string());
    EXPECT_THAT(command({"service", "status"}).output, ContainsRegex("running +yes, process 4711"));
}

}  // namespace
}  // namespace quernlight
