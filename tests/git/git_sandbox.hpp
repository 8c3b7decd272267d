#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "quernlight/git/git_runner.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::test {

/// Git on the test's own loop, as the library runs it.
GitCommandResult runGitNow(std::vector<std::string> arguments);

/// Runs a shell script in git's place, through an alias, to make git print or wait as a test needs it.
GitCommandResult runGitScript(const std::string& script);

/// Sets a variable of this process's environment until the end of the scope, then puts back what was there.
class ScopedVariable {
  public:
    ScopedVariable(const std::string& name, const std::string& value);
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ~ScopedVariable();

  private:
    std::string name_;
    std::optional<std::string> before_;
};

/// Real repositories in a directory that goes with the test.
class GitSandbox {
  public:
    /// Where something of this name is or would be.
    std::string path(const std::string& name) const { return (directory_ / name).string(); }

    /// Git in the repository; the test fails when git does. Returns what git printed.
    std::string git(const std::string& repository, std::vector<std::string> arguments) const;

    /// A repository with one commit on `branch`. Returns its path.
    std::string makeRepository(const std::string& name, const std::string& branch = "main") const;

    /// One more commit, by a user whom only this repository knows. Returns its id.
    std::string commit(const std::string& repository, const std::string& message) const;

    /// From now on every git in the repository warns, on its standard error, of a setting that it ignores.
    void warnAlways(const std::string& repository) const;

    /// Names another repository as a remote of this one.
    void addRemote(const std::string& repository, const std::string& remote, const std::string& url) const;

  private:
    TemporaryDirectory directory_;
};

}  // namespace quernlight::test
