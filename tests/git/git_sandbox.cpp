#include "tests/git/git_sandbox.hpp"

#include <cstdlib>
#include <memory>
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/run_task.hpp"

namespace quernlight::test {
namespace {

/// Keeps the user's configuration and home out of every test of this program.
class IsolatedGit : public testing::Environment {
  public:
    void SetUp() override {
        home_ = std::make_unique<TemporaryDirectory>();
        setenv("HOME", home_->path().c_str(), 1);
        setenv("XDG_CONFIG_HOME", (*home_ / ".config").c_str(), 1);
        setenv("GIT_CONFIG_GLOBAL", "/dev/null", 1);
        setenv("GIT_CONFIG_NOSYSTEM", "1", 1);
        setenv("LC_ALL", "C.UTF-8", 1);
        for (const char* name : {"GIT_ASKPASS", "SSH_ASKPASS", "DISPLAY"}) {
            unsetenv(name);
        }
    }
    void TearDown() override { home_.reset(); }

  private:
    std::unique_ptr<TemporaryDirectory> home_;
};

const testing::Environment* const isolatedGit = testing::AddGlobalTestEnvironment(new IsolatedGit);

}  // namespace

GitCommandResult runGitNow(std::vector<std::string> arguments) {
    return runTask(runGit(std::move(arguments)));
}

GitCommandResult runGitScript(const std::string& script) {
    return runGitNow({"-c", "alias.script=!" + script, "script"});
}

ScopedVariable::ScopedVariable(const std::string& name, const std::string& value) : name_(name) {
    if (const char* before = std::getenv(name.c_str())) {
        before_ = before;
    }
    setenv(name.c_str(), value.c_str(), 1);
}

ScopedVariable::~ScopedVariable() {
    if (before_) {
        setenv(name_.c_str(), before_->c_str(), 1);
    } else {
        unsetenv(name_.c_str());
    }
}

std::string GitSandbox::git(const std::string& repository, std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"-C", repository});
    const GitCommandResult result = runGitNow(arguments);
    EXPECT_EQ(result.status, 0) << "git " << arguments.at(2) << ": " << result.output;
    return result.output;
}

std::string GitSandbox::makeRepository(const std::string& name, const std::string& branch) const {
    const std::string repository = path(name);
    git(directory_.path().string(), {"init", "--quiet", "--initial-branch", branch, repository});
    git(repository, {"config", "user.name", "Test"});
    git(repository, {"config", "user.email", "test@quernlight.example"});
    commit(repository, "first");
    return repository;
}

std::string GitSandbox::commit(const std::string& repository, const std::string& message) const {
    git(repository, {"commit", "--quiet", "--allow-empty", "-m", message});
    return git(repository, {"rev-parse", "HEAD"});
}

void GitSandbox::warnAlways(const std::string& repository) const {
    git(repository, {"config", "core.fsyncMethod", "unheard of"});
    git(repository, {"config", "remote./wrong.url", "unheard of"});  // which "git remote" looks at
}

void GitSandbox::addRemote(const std::string& repository, const std::string& remote,
                           const std::string& url) const {
    git(repository, {"remote", "add", remote, url});
}

}  // namespace quernlight::test
