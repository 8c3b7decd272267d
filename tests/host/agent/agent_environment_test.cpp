#include "host/agent/agent_environment.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(AgentEnvironmentTest, WhatATerminalProgramNeedsPasses) {
    const EnvironmentMap inherited{{"CODEX_HOME", "/c"}, {"HOME", "/h"},   {"LANG", "de_DE.UTF-8"},
                                   {"LC_TIME", "C"},     {"PATH", "/bin"}, {"SSH_AUTH_SOCK", "/s"}};
    EnvironmentMap expected = inherited;
    expected["TERM"] = "xterm-256color";
    EXPECT_EQ(agentEnvironment(inherited), expected);
}

TEST(AgentEnvironmentTest, HowTheNetworkIsReachedAndWhomItTrustsPasses) {
    EnvironmentMap expected{{"TERM", "xterm-256color"}};
    for (const char* name :
         {"HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY", "NO_PROXY", "FTP_PROXY", "http_proxy", "https_proxy",
          "all_proxy", "no_proxy", "ftp_proxy", "SSL_CERT_FILE", "SSL_CERT_DIR", "CODEX_CA_CERTIFICATE",
          "NODE_EXTRA_CA_CERTS", "CURL_CA_BUNDLE", "REQUESTS_CA_BUNDLE", "GIT_SSL_CAINFO"}) {
        expected[name] = "of the machine's";
    }
    EXPECT_EQ(agentEnvironment(expected), expected);
}

TEST(AgentEnvironmentTest, NothingThatMightCarryASecretPasses) {
    const EnvironmentMap inherited{
        {"QUERNLIGHT_DISPATCH_HOME", "/d"}, {"QUERNLIGHT_TOKEN", "t"},  {"GITHUB_TOKEN", "t"},
        {"AWS_SECRET_ACCESS_KEY", "k"},     {"DATABASE_PASSWORD", "p"}, {"OPENAI_API_KEY", "k"},
        {"GIT_DIR", "/elsewhere"},          {"LD_PRELOAD", "/x.so"}};
    EXPECT_THAT(agentEnvironment(inherited), ElementsAre(Pair("TERM", "xterm-256color")));
}

TEST(AgentEnvironmentTest, TheTerminalIsTheOneThatTheAgentGetsAndNotTheCallers) {
    EXPECT_THAT(agentEnvironment({{"TERM", "dumb"}}), ElementsAre(Pair("TERM", "xterm-256color")));
}

/// Two directories of a search path.
class FindOnPathTest : public testing::Test {
  protected:
    FindOnPathTest() {
        std::filesystem::create_directories(first);
        std::filesystem::create_directories(second);
    }
    static void makeProgram(const std::filesystem::path& file) {
        test::writeFile(file, "");
        std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    }
    std::optional<std::filesystem::path> find() const {
        return findOnPath("codex", {{"PATH", "/nowhere:" + first.string() + ":" + second.string()}});
    }

    test::TemporaryDirectory directory;
    std::filesystem::path first = directory / "first";
    std::filesystem::path second = directory / "second";
};

TEST_F(FindOnPathTest, TheFirstDirectoryThatHasTheProgramCounts) {
    makeProgram(second / "codex");
    EXPECT_EQ(find(), second / "codex");
    makeProgram(first / "codex");
    EXPECT_EQ(find(), first / "codex");
}

TEST_F(FindOnPathTest, ADirectoryOrAFileThatCannotBeExecutedIsNoProgram) {
    std::filesystem::create_directories(first / "codex");
    test::writeFile(second / "codex", "");
    EXPECT_EQ(find(), std::nullopt);
}

TEST_F(FindOnPathTest, WithoutAPathNothingIsFound) {
    EXPECT_EQ(findOnPath("codex", {}), std::nullopt);
}

TEST(MissingAgentTest, AProgramThatCannotBeRunIsNamed) {
    const quernlight::test::TemporaryDirectory directory;
    const std::string file = directory / "agent";
    const EnvironmentMap environment{{"PATH", directory.path().string()}};
    EXPECT_TRUE(missingAgent({"agent"}, environment));
    quernlight::test::writeFile(file, "");
    EXPECT_TRUE(missingAgent({"agent"}, environment));
    EXPECT_EQ(missingAgent({file, "--fast"}, environment),
              "There is no program " + file + " that may be run; check the setting agent.command.");
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    EXPECT_FALSE(missingAgent({file, "--fast"}, environment));
    EXPECT_FALSE(missingAgent({"agent"}, environment));
    EXPECT_FALSE(missingAgent({"./agent"}, environment));
}

}  // namespace
}  // namespace quernlight::host
