#include "host/session/patient_git.hpp"

#include "host/session/time_limit.hpp"

namespace quernlight::host {
namespace {

constexpr int stoppedStatus = 1;

std::string describeOverlongFetch(double seconds) {
    return "git fetch did not end within " + std::to_string(static_cast<long>(seconds)) +
           " seconds (setting git.fetch_seconds); check the network and the repository's remote.";
}

Task<GitCommandResult> fetchPatiently(StopSwitch& stop, double seconds, std::vector<std::string> arguments) {
    const auto limit = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
    try {
        co_return co_await stop.untilPressed(withTimeLimit(limit, runGit(std::move(arguments))));
    } catch (const TimeLimitExceeded&) {
        co_return GitCommandResult{stoppedStatus, describeOverlongFetch(seconds)};
    } catch (const boost::system::system_error& error) {
        if (!stop.isPressed()) {
            throw;
        }
        co_return GitCommandResult{stoppedStatus, error.what()};
    }
}

}  // namespace

GitRunner patientGit(StopSwitch& stop, const Settings& settings) {
    return [&stop, &settings](std::vector<std::string> arguments) {
        const bool fetches = arguments.size() > 2 && arguments[2] == "fetch";
        return fetches ? fetchPatiently(stop, settings.gitFetchSeconds, std::move(arguments))
                       : runGit(std::move(arguments));
    };
}

}  // namespace quernlight::host
