#include "host/doctor/examination.hpp"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using quernlight::test::runTask;
using testing::HasSubstr;

class ExaminationTest : public testing::Test {
  protected:
    Examined examined() {
        return {.home = directory / "home",
                .settings = {.agentCommand = {script.string()}},
                .environment = {{"PATH", "/usr/bin:/bin"}, {"HOME", directory.path().string()}},
                .program = "/usr/bin/false",
                .agentTimeout = std::chrono::milliseconds(100)};
    }
    /// The agent is a script.
    void agentIs(const std::string& text) {
        quernlight::test::writeFile(script, "#!/bin/sh\n" + text + "\n");
        std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    }
    static Finding find(const Findings& findings, const std::string& check) {
        const auto found = std::ranges::find(findings, check, &Finding::check);
        return found == findings.end() ? Finding{.seen = "was not checked"} : *found;
    }

    /// What the findings of that check say.
    static std::string seen(const Examined& given, const std::string& check) {
        std::string sentences;
        for (const Finding& finding : runTask(examine(given))) {
            sentences += finding.check == check ? finding.seen + "\n" : "";
        }
        return sentences;
    }

    quernlight::test::TemporaryDirectory directory;
    std::filesystem::path script = directory / "agent";
};

TEST_F(ExaminationTest, AnAgentThatNeverAnswersHoldsUpNoOtherCheck) {
    agentIs("sleep 1000");
    const Findings findings = runTask(examine(examined()));
    EXPECT_THAT(find(findings, "agent").seen, HasSubstr("did not tell its version in time"));
    EXPECT_THAT(find(findings, "agent goals").seen, HasSubstr("cannot be told"));
    EXPECT_EQ(find(findings, "agent trust").verdict, Verdict::ok);
    EXPECT_EQ(find(findings, "mappings").verdict, Verdict::stops);
    EXPECT_TRUE(stopsTheRoad(findings));
    EXPECT_FALSE(std::filesystem::exists(directory / "home"));
}

TEST_F(ExaminationTest, ACheckThatCannotBeMadeIsAFindingOfItsOwn) {
    agentIs("exit 0");
    Examined given = examined();
    given.home = "";
    const Findings findings = runTask(examine(given));
    EXPECT_EQ(find(findings, "disk").verdict, Verdict::warning);
    EXPECT_THAT(find(findings, "disk").seen, HasSubstr("Could not be checked: "));
    EXPECT_EQ(find(findings, "agent trust").verdict, Verdict::ok);
}

TEST_F(ExaminationTest, AProviderOnTheAgentsCommandLineWantsNoLogin) {
    agentIs("echo Not logged in; exit 1");
    Examined given = examined();
    quernlight::test::writeFile(directory / ".codex/config.toml",
                                "[model_providers.own]\nname = \"Own\"\nenv_key = \"OWN_KEY\"\n");
    given.agentTimeout = std::chrono::seconds(60);
    EXPECT_EQ(find(runTask(examine(given)), "agent login").verdict, Verdict::stops);
    given.settings.agentCommand.insert(given.settings.agentCommand.end(), {"-c", "model_provider=\"own\""});
    EXPECT_THAT(find(runTask(examine(given)), "agent login").seen, HasSubstr("OWN_KEY agents would not get"));
    given.environment["OWN_KEY"] = "secret";
    given.settings.agentEnvironment = {"OWN_KEY"};
    const Finding found = find(runTask(examine(given)), "agent login");
    EXPECT_EQ(found.seen, "Its configuration names the model provider \"own\", whose key is in OWN_KEY.");
}

TEST_F(ExaminationTest, AToolServerOfOurNameIsToldWithItsPlace) {
    agentIs("exit 0");
    Examined given = examined();
    given.mappings = {{.bundleID = "com.acme.shop", .repoPath = directory / "shop"}};
    EXPECT_THAT(seen(given, "agent tools"), testing::Not(HasSubstr("of its own configuration")));
    quernlight::test::writeFile(directory / "shop/.codex/config.toml",
                                "[mcp_servers.quernlight]\ncommand = \"mine\"\n");
    EXPECT_THAT(
        seen(given, "agent tools"),
        HasSubstr("of its own configuration (" + (directory / "shop/.codex/config.toml").string() + ")"));
}

TEST_F(ExaminationTest, RecordsThatAreElsewhereAreTold) {
    agentIs("exit 0");
    Examined given = examined();
    EXPECT_THAT(seen(given, "agent records"), HasSubstr("is not there"));
    std::filesystem::create_directories(directory / ".codex");
    EXPECT_EQ(find(runTask(examine(given)), "agent records").verdict, Verdict::ok);
    quernlight::test::writeFile(directory / ".codex/config.toml", "sqlite_home = \"/elsewhere\"\n");
    EXPECT_THAT(seen(given, "agent records"), HasSubstr("sqlite_home"));
    given.settings.agentCommand = {"env", "CODEX_HOME=/elsewhere", script.string()};
    EXPECT_THAT(seen(given, "agent records"),
                HasSubstr("agent.command sets CODEX_HOME, so agents keep their records where the dispatcher "
                          "does not look: goals cannot be proved to be taken"));
}

}  // namespace
}  // namespace quernlight::host
