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

TEST(GitEnvironmentTest, NumberedConfigurationOfTheCallerIsLeftOut) {
    EXPECT_THAT(gitEnvironment({"GIT_CONFIG_KEY_99=color.ui", "GIT_CONFIG_VALUE_99=always"}),
                Not(Contains(testing::HasSubstr("_99="))));
}

}  // namespace
}  // namespace quernlight
