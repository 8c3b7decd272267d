#include "quernlight/git/git_runner.hpp"

#include <string_view>
#include <system_error>
#include <utility>

#include "quernlight/git/git_environment.hpp"
#include "quernlight/platform/child_process.hpp"
#include "quernlight/platform/spawn.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

constexpr int notStarted = 1;

/// No status of git's own: 1 is an answer to some questions ("no ancestor"), and what git answered is lost.
constexpr int lostStatus = -1;

GitCommandResult resultOf(const ChildProcessResult& ended) {
    const std::string printed = ended.exitCode == 0 ? ended.output : ended.output + ended.errors;
    const bool isReadable = isValidUtf8(printed);
    return {ended.exitCode, isReadable ? std::string(trimmed(printed)) : std::string()};
}

GitCommandResult resultOf(const std::system_error& error) {
    return {error.code() == std::errc::no_child_process ? lostStatus : notStarted, error.what(),
            error.code()};
}

Task<GitCommandResult> run(std::vector<std::string> arguments, std::vector<std::string> environment,
                           GitOutput output) {
    ChildProcessRequest request;
    request.executable = "/usr/bin/git";
    request.arguments = std::move(arguments);
    request.environment = gitEnvironment(std::move(environment));
    request.keepsErrorsApart = output == GitOutput::answer;
    try {
        const ChildProcessResult ended = co_await runChildProcess(std::move(request));
        co_return resultOf(ended);
    } catch (const std::system_error& error) {
        co_return resultOf(error);
    }
}

}  // namespace

Task<GitCommandResult> runGit(std::vector<std::string> arguments) {
    return run(std::move(arguments), currentEnvironment(), GitOutput::combined);
}

GitRunner runGitWith(std::vector<std::string> variables, GitOutput output) {
    return [variables = std::move(variables), output](std::vector<std::string> arguments) {
        std::vector<std::string> environment = neededByGit(currentEnvironment());
        environment.insert(environment.end(), variables.begin(), variables.end());
        return run(std::move(arguments), std::move(environment), output);
    };
}

}  // namespace quernlight
