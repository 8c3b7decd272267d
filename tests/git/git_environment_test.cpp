#include "quernlight/git/git_environment.hpp"

#include <ostream>

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

void PrintTo(const PinnedCase& row, std::ostream* out) {
    *out << row.key;
}

class PinnedConfigurationTest : public testing::TestWithParam<PinnedCase> {};

TEST_P(PinnedConfigurationTest, WinsOverTheRepositorysOwn) {
    const PinnedCase& setting = GetParam();
    const test::GitSandbox sandbox;
    const std::string repository = sandbox.makeRepository("Acme");
    sandbox.git(repository, {"config", setting.key, setting.usersValue});
    EXPECT_EQ(sandbox.git(repository, {"config", setting.key}), setting.pinned);
}

INSTANTIATE_TEST_SUITE_P(
    Table, PinnedConfigurationTest,
    testing::Values(
        PinnedCase{"color.ui", "always", "false"}, PinnedCase{"color.advice", "always", "false"},
        PinnedCase{"color.branch", "always", "false"}, PinnedCase{"color.diff", "always", "false"},
        PinnedCase{"color.grep", "always", "false"}, PinnedCase{"color.push", "always", "false"},
        PinnedCase{"color.remote", "always", "false"}, PinnedCase{"color.status", "always", "false"},
        PinnedCase{"color.transport", "always", "false"},
        PinnedCase{"core.filesRefLockTimeout", "0", "10000"},
        PinnedCase{"core.packedRefsTimeout", "0", "10000"}, PinnedCase{"core.pager", "less", "cat"},
        PinnedCase{"core.quotePath", "true", "false"}, PinnedCase{"grep.patternType", "perl", "basic"},
        PinnedCase{"i18n.logOutputEncoding", "ISO-8859-1", "UTF-8"},
        PinnedCase{"log.showSignature", "true", "false"}, PinnedCase{"merge.default", "union", "text"},
        PinnedCase{"merge.directoryRenames", "true", "conflict"},
        PinnedCase{"merge.renameLimit", "1", "7000"}, PinnedCase{"merge.renames", "false", "true"},
        PinnedCase{"merge.renormalize", "true", "false"}));

TEST(GitEnvironmentTest, NumberedConfigurationOfTheCallerIsLeftOut) {
    EXPECT_THAT(gitEnvironment({"GIT_CONFIG_KEY_99=color.ui", "GIT_CONFIG_VALUE_99=always"}),
                Not(Contains(testing::HasSubstr("_99="))));
}

}  // namespace
}  // namespace quernlight
