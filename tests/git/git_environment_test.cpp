#include "quernlight/git/git_environment.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/text.hpp"
#include "tests/git/git_sandbox.hpp"

namespace quernlight {
namespace {

using testing::Contains;
using testing::Not;
using testing::StartsWith;

TEST(GitEnvironmentTest, LeavesOutEveryVariableThatGitCallsLocalToARepository) {
    const std::string names = test::runGitNow({"rev-parse", "--local-env-vars"}).output;
    ASSERT_THAT(linesOf(names), Contains("GIT_DIR"));
    for (const std::string_view name : linesOf(names)) {
        const std::string entry = std::string(name) + "=inherited";
        EXPECT_THAT(gitEnvironment({entry}), Not(Contains(entry)));
    }
}

TEST(GitEnvironmentTest, KeepsWhatIsNotGitsOwnBusiness) {
    const std::vector<std::string> inherited{"PATH=/usr/bin", "GIT_SSH_COMMAND=ssh", "GIT_DIRECTIONS=north"};
    for (const std::string& entry : inherited) {
        EXPECT_THAT(gitEnvironment(inherited), Contains(entry));
    }
}

TEST(GitEnvironmentTest, AVariableThatIsSetHereOccursOnce) {
    const auto environment = gitEnvironment({"GIT_TERMINAL_PROMPT=1", "GIT_PAGER=less"});
    EXPECT_THAT(environment, Contains(StartsWith("GIT_TERMINAL_PROMPT=")).Times(1));
    EXPECT_THAT(environment, Contains("GIT_TERMINAL_PROMPT=0"));
    EXPECT_THAT(environment, Contains(StartsWith("GIT_PAGER=")).Times(1));
}

TEST(GitEnvironmentTest, NeitherSshNorCurlIsLeftToTheUsersWish) {
    const auto environment = gitEnvironment({"SSH_ASKPASS_REQUIRE=force", "GIT_CURL_VERBOSE=1"});
    EXPECT_THAT(environment, Contains(StartsWith("SSH_ASKPASS_REQUIRE=")).Times(1));
    EXPECT_THAT(environment, Contains("SSH_ASKPASS_REQUIRE=never"));
    EXPECT_THAT(environment, Not(Contains(StartsWith("GIT_CURL_VERBOSE"))));
}

TEST(GitEnvironmentTest, GitSpeaksTheLanguageInWhichItsWarningsAreKnown) {
    const auto environment = gitEnvironment({"LANGUAGE=de", "LC_ALL=de_DE.UTF-8"});
    EXPECT_THAT(environment, Contains(StartsWith("LANGUAGE=")).Times(1));
    EXPECT_THAT(environment, Contains("LANGUAGE=C"));
}

struct PinnedCase {
    const char* key;
    const char* usersValue;
    const char* pinned;
};

TEST(GitEnvironmentTest, PinnedConfigurationWinsOverTheRepositorysOwn) {
    const PinnedCase rows[] = {
        {"color.ui", "always", "false"},
        {"color.advice", "always", "false"},
        {"color.branch", "always", "false"},
        {"color.diff", "always", "false"},
        {"color.grep", "always", "false"},
        {"color.push", "always", "false"},
        {"color.remote", "always", "false"},
        {"color.status", "always", "false"},
        {"color.transport", "always", "false"},
        {"core.filesRefLockTimeout", "0", "10000"},
        {"core.packedRefsTimeout", "0", "10000"},
        {"core.pager", "less", "cat"},
        {"core.quotePath", "true", "false"},
        {"grep.patternType", "perl", "basic"},
        {"i18n.logOutputEncoding", "ISO-8859-1", "UTF-8"},
        {"log.showSignature", "true", "false"},
        {"merge.default", "union", "text"},
        {"merge.directoryRenames", "true", "conflict"},
        {"merge.renameLimit", "1", "7000"},
        {"merge.renames", "false", "true"},
        {"merge.renormalize", "true", "false"},
    };
    for (const PinnedCase& row : rows) {
        SCOPED_TRACE(row.key);
        const PinnedCase& setting = row;
        const test::GitSandbox sandbox;
        const std::string repository = sandbox.makeRepository("Acme");
        sandbox.git(repository, {"config", setting.key, setting.usersValue});
        EXPECT_EQ(sandbox.git(repository, {"config", setting.key}), setting.pinned);
    }
}

TEST(GitEnvironmentTest, NumberedConfigurationOfTheCallerIsLeftOut) {
    EXPECT_THAT(gitEnvironment({"GIT_CONFIG_KEY_99=color.ui", "GIT_CONFIG_VALUE_99=always"}),
                Not(Contains(testing::HasSubstr("_99="))));
}

TEST(NeededByGitTest, LeavesOutEveryVariableThatGitCallsLocalToARepository) {
    const std::string names = test::runGitNow({"rev-parse", "--local-env-vars"}).output;
    ASSERT_THAT(linesOf(names), Contains("GIT_DIR"));
    for (const std::string_view name : linesOf(names)) {
        const std::string entry = std::string(name) + "=inherited";
        EXPECT_THAT(neededByGit({entry}), Not(Contains(entry)));
    }
}

TEST(NeededByGitTest, KeepsWhatGitSshAndTheirHelpersNeed) {
    for (const char* name : {"PATH",
                             "HOME",
                             "TMPDIR",
                             "LC_ALL",
                             "XDG_CONFIG_HOME",
                             "SSH_AUTH_SOCK",
                             "GNUPGHOME",
                             "https_proxy",
                             "HTTPS_PROXY",
                             "NO_PROXY",
                             "SSL_CERT_FILE",
                             "GIT_SSL_CAINFO",
                             "GIT_SSH_COMMAND",
                             "GIT_AUTHOR_NAME",
                             "GIT_COMMITTER_EMAIL",
                             "GIT_CONFIG_GLOBAL",
                             "GIT_CONFIG_NOSYSTEM",
                             "GIT_LFS_SKIP_SMUDGE",
                             "DBUS_SESSION_BUS_ADDRESS",
                             "SECURITYSESSIONID",
                             "DEVELOPER_DIR"}) {
        const std::string entry = std::string(name) + "=kept";
        EXPECT_THAT(neededByGit({entry}), Contains(entry));
    }
}

TEST(NeededByGitTest, KeepsTheMarksByWhichTheHostKnowsItsOwn) {
    const std::string mark = "QUERNLIGHT_DISPATCH_SESSION=1";
    EXPECT_THAT(neededByGit({mark}), Contains(mark));
}

TEST(NeededByGitTest, LeavesOutAllElseAboveAllSecretsAndWhatChangesAnswers) {
    for (const char* name :
         {"AWS_SECRET_ACCESS_KEY", "GITHUB_TOKEN", "QUERNLIGHT_TOKEN", "LD_PRELOAD", "EDITOR",
          "GIT_EXTERNAL_DIFF", "GIT_LITERAL_PATHSPECS", "GIT_DIRECTIONS", "PATHS", "XAUTHORITY"}) {
        EXPECT_THAT(neededByGit({std::string(name) + "=x"}),
                    Not(Contains(StartsWith(std::string(name) + "="))));
    }
}

}  // namespace
}  // namespace quernlight
