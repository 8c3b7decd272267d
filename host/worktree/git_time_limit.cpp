#include "host/worktree/git_time_limit.hpp"

#include <chrono>
#include <cmath>
#include <exception>
#include <memory>
#include <optional>

#include <boost/asio/error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/system/system_error.hpp>

#include "host/process/time_limit.hpp"
#include "host/worktree/git_marks.hpp"
#include "quernlight/platform/async_signal.hpp"
#include "quernlight/platform/child_task.hpp"

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;

constexpr int endedStatus = 1;
constexpr std::chrono::seconds stopGrace{5};
constexpr std::chrono::seconds leftoverGrace{2};
constexpr std::chrono::seconds leftoverTimeout{3};

/// The first word after the options "-C PATH", "-c NAME=VALUE" and "--...".
std::string commandIn(const std::vector<std::string>& arguments) {
    std::size_t index = 0;
    while (index < arguments.size() && arguments[index].starts_with("-")) {
        index += arguments[index].starts_with("--") ? 1 : 2;
    }
    return index < arguments.size() ? arguments[index] : "";
}

bool asksFarSide(const std::string& command) {
    return command == "fetch" || command == "ls-remote";
}

std::string describeOverlong(const std::string& command, double seconds) {
    const std::string time = std::to_string(std::lround(std::ceil(seconds))) + " s";
    if (asksFarSide(command)) {
        return "git " + command + " did not end within " + time +
               " (setting git.fetch_seconds); check the network and the repository's remote.";
    }
    return "git " + command + " did not end within " + time +
           " (setting git.command_seconds); see what its hooks and filters wait for.";
}

GitCommandResult overlong(const std::string& command, double seconds) {
    return {endedStatus, describeOverlong(command, seconds), std::make_error_code(std::errc::timed_out)};
}

/// One run of git, as it goes on beside whoever waits for it.
struct Run {
    std::optional<GitCommandResult> result{};
    bool isOverlong = false;
    std::exception_ptr failure{};  // of ours, not of git's
    bool isOver = false;
    AsyncSignal ended{};
};

/// Tells of the end, whatever it is.
struct Ending {
    std::shared_ptr<Run> run;

    ~Ending() {
        run->isOver = true;
        run->ended.notify();
    }
};

Task<void> carryOut(Clock& clock, std::shared_ptr<Run> run, milliseconds limit,
                    Task<GitCommandResult> command) {
    const Ending ending{run};
    try {
        run->result = co_await withTimeLimit(clock, limit, std::move(command));
    } catch (const TimeLimitExceeded&) {
        run->isOverlong = true;
    } catch (const boost::system::system_error& error) {
        if (error.code() != boost::asio::error::operation_aborted) {
            run->failure = std::current_exception();
        }
    } catch (...) {
        run->failure = std::current_exception();
    }
}

/// Waits until the wish to stop has risen to the level at the latest.
Task<void> waitUnlessRaised(StopRequest& stop, StopLevel level, Task<void> wait) {
    try {
        co_await stop.unlessRaised(level, std::move(wait));
    } catch (const boost::system::system_error&) {
        if (stop.level() < level) {
            throw;
        }
    }
}

/// Something else that is still there when git has gone: the child of a git that was killed, or what has left
/// its process group.
Task<void> endLeftovers(ProcessMark runMark, bool atOnce) {
    ProcessTree leftovers(runMark);
    const auto grace = atOnce ? std::chrono::seconds(0) : leftoverGrace;
    co_await leftovers.end(grace, leftoverTimeout);
}

/// The git of one part of the work, which ends with the first command that has to be ended.
class PatientGit {
  public:
    PatientGit(StopRequest& stop, Clock& clock, const Settings& settings, ProcessMark mark, GitOutput output)
        : stop_(stop), clock_(clock), settings_(settings), mark_(std::move(mark)), output_(output) {}

    static Task<GitCommandResult> run(std::shared_ptr<PatientGit> self, std::vector<std::string> arguments) {
        co_return co_await self->runUnlessOver(std::move(arguments));
    }

  private:
    Task<GitCommandResult> runUnlessOver(std::vector<std::string> arguments) {
        const std::string command = commandIn(arguments);
        const bool isFetch = asksFarSide(command);
        if (over_) {
            co_return *over_;
        }
        if (stop_.isKilling() || (isFetch && stop_.isStopping())) {
            co_return GitCommandResult{endedStatus, "git " + command + " is not run: the program is ending."};
        }
        const double seconds = isFetch ? settings_.gitFetchSeconds : settings_.gitCommandSeconds;
        const std::shared_ptr<Run> run = co_await runWithin(seconds, isFetch, std::move(arguments));
        if (run->result) {
            co_return *run->result;
        }
        if (run->failure) {
            std::rethrow_exception(run->failure);
        }
        GitCommandResult ended{endedStatus, "git " + command + " was ended: the program is ending."};
        if (run->isOverlong) {
            ended = overlong(command, seconds);
        }
        if (!isFetch) {
            over_ = ended;
        }
        co_return ended;
    }

    Task<std::shared_ptr<Run>> runWithin(double seconds, bool isFetch, std::vector<std::string> arguments) {
        const auto limit = std::chrono::ceil<milliseconds>(std::chrono::duration<double>(seconds));
        const ProcessMark runMark = newGitRunMark();
        const GitRunner git = runGitWith({mark_.assignment(), runMark.assignment()}, output_);
        const auto run = std::make_shared<Run>();
        Task<void> work = carryOut(clock_, run, limit, git(std::move(arguments)));
        co_await waitPatiently(run, isFetch, std::move(work));
        if (!run->result || wasKilled(*run->result)) {
            co_await endLeftovers(runMark, stop_.isKilling());
        }
        co_return run;
    }

    Task<void> waitPatiently(std::shared_ptr<Run> run, bool isFetch, Task<void> work) {
        const auto executor = co_await boost::asio::this_coro::executor;
        ChildTask running(executor, "running git", std::move(work));
        if (!stop_.isStopping()) {
            co_await waitUnlessRaised(stop_, StopLevel::stop, run->ended.wait());
        }
        const auto now = clock_.steadyNow();
        if (stop_.isStopping() && !isFetch && !stopDeadline_) {
            stopDeadline_ = now + stopGrace;
        }
        const auto deadline = isFetch ? now : stopDeadline_.value_or(now);
        while (!run->isOver && !stop_.isKilling() && clock_.steadyNow() < deadline) {
            co_await waitUnlessRaised(stop_, StopLevel::kill, clock_.waitUntil(run->ended, deadline));
        }
        co_await running.end();
    }

    StopRequest& stop_;
    Clock& clock_;
    const Settings& settings_;
    const ProcessMark mark_;
    const GitOutput output_;
    std::optional<Clock::TimePoint> stopDeadline_;  // of all that runs after a stop
    std::optional<GitCommandResult> over_;          // the result of every further command
};

Task<GitCommandResult> runLimited(ProcessMark mark, GitOutput output, std::vector<std::string> arguments) {
    const double seconds = Settings{}.gitCommandSeconds;
    const std::string command = commandIn(arguments);
    const GitRunner git = runGitWith({mark.assignment()}, output);
    const auto limit = std::chrono::ceil<milliseconds>(std::chrono::duration<double>(seconds));
    SystemClock clock;
    try {
        co_return co_await withTimeLimit(clock, limit, git(std::move(arguments)));
    } catch (const TimeLimitExceeded&) {
        co_return overlong(command, seconds);
    }
}

}  // namespace

GitRunner limitedGit(ProcessMark mark, GitOutput output) {
    return [mark = std::move(mark), output](std::vector<std::string> arguments) {
        return runLimited(mark, output, std::move(arguments));
    };
}

GitRunner gitWithTimeLimit(StopRequest& stop, Clock& clock, const Settings& settings, ProcessMark mark,
                           GitOutput output) {
    auto git = std::make_shared<PatientGit>(stop, clock, settings, std::move(mark), output);
    return [git = std::move(git)](std::vector<std::string> arguments) {
        return PatientGit::run(git, std::move(arguments));
    };
}

bool wasKilled(const GitCommandResult& result) {
    constexpr int usageError = 129;
    constexpr int lastSignal = 128 + 64;
    return result.status > usageError && result.status <= lastSignal;
}

}  // namespace quernlight::host
