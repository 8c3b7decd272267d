#include "quernlight/git/git_runner.hpp"

#include <system_error>
#include <utility>

#include "quernlight/git/git_environment.hpp"
#include "quernlight/platform/child_process.hpp"
#include "quernlight/platform/spawn.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

GitCommandResult resultOf(const ChildProcessResult& ended) {
    const bool isReadable = isValidUtf8(ended.output);
    return {ended.exitCode, isReadable ? std::string(trimmed(ended.output)) : std::string()};
}

}  // namespace

Task<GitCommandResult> runGit(std::vector<std::string> arguments) {
    ChildProcessRequest request;
    request.executable = "/usr/bin/git";
    request.arguments = std::move(arguments);
    request.environment = gitEnvironment(currentEnvironment());
    try {
        const ChildProcessResult ended = co_await runChildProcess(std::move(request));
        co_return resultOf(ended);
    } catch (const std::system_error& startError) {
        co_return GitCommandResult{1, startError.what()};
    }
}

}  // namespace quernlight
