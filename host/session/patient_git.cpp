#include "host/session/patient_git.hpp"

#include <cmath>

#include "host/session/time_limit.hpp"

namespace quernlight::host {
namespace {

constexpr int stoppedStatus = 1;

std::string describeOverlongFetch(double seconds) {
    return "git fetch did not end within " + std::to_string(std::lround(std::ceil(seconds))) +
           " s (setting git.fetch_seconds); check the network and the repository's remote.";
}

/// A cut command has failed; cancellation by anybody else goes on.
Task<GitCommandResult> unlessPressed(StopSwitch& cut, Task<GitCommandResult> command) {
    try {
        co_return co_await cut.untilPressed(std::move(command));
    } catch (const boost::system::system_error& error) {
        if (!cut.isPressed()) {
            throw;
        }
        co_return GitCommandResult{stoppedStatus, error.what()};
    }
}

Task<GitCommandResult> fetchPatiently(double seconds, Task<GitCommandResult> fetch) {
    const auto limit = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
    try {
        co_return co_await withTimeLimit(limit, std::move(fetch));
    } catch (const TimeLimitExceeded&) {
        co_return GitCommandResult{stoppedStatus, describeOverlongFetch(seconds)};
    }
}

}  // namespace

GitRunner patientGit(StopSwitch& stop, StopSwitch& kill, const Settings& settings, GitOutput output) {
    return [&stop, &kill, &settings, run = runGitWith({}, output)](std::vector<std::string> arguments) {
        const bool fetches = arguments.size() > 2 && (arguments[2] == "fetch" || arguments[2] == "ls-remote");
        Task<GitCommandResult> command = run(std::move(arguments));
        return fetches ? unlessPressed(stop, fetchPatiently(settings.gitFetchSeconds, std::move(command)))
                       : unlessPressed(kill, std::move(command));
    };
}

}  // namespace quernlight::host
