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
