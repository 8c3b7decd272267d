#include <algorithm>
#include <filesystem>

#include <unistd.h>

#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/dispatcher/dispatcher.hpp"
#include "host/health/disk_probe.hpp"
#include "host/health/failure_policy.hpp"
#include "host/intake/bug_source.hpp"
#include "host/process/caught_exception.hpp"
#include "host/process/user_error.hpp"
#include "host/session/comment_poll.hpp"
#include "host/text/terminal_text.hpp"
#include "host/worktree/git_marks.hpp"
#include "quernlight/platform/started_processes.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds heartbeatInterval{250};
constexpr int beatsPerLook = 4;  // at the settings, the memory and the orphans
constexpr std::chrono::seconds longestStep{1};
constexpr std::chrono::seconds reconciliationPause{3};

std::string describeLostHome(const std::filesystem::path& home) {
    return "The dispatch home " + home.string() +
           " was removed, moved or replaced while this dispatcher runs. Sessions that run go on, but nothing new "
           "begins. Put it back as it was, or stop this dispatcher and start it again.";
}

Task<void> sleepFor(std::chrono::milliseconds time) {
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor);
    timer.expires_after(time);
    co_await timer.async_wait(boost::asio::use_awaitable);
}

}  // namespace

/// A dispatcher that has lost a chore would look well and not be: it ends, and says why.
Task<void> Dispatcher::endingAllWithIt(Task<void> chore) {
    const std::exception_ptr failure = co_await caughtException(std::move(chore));
    const boost::asio::cancellation_state cancellation = co_await boost::asio::this_coro::cancellation_state;
    if (failure && cancellation.cancelled() == boost::asio::cancellation_type::none) {
        endWith(failure);
    }
}

/// One round of a chore, and what it threw, if anything. Trouble that may pass (a full disk, an absent
/// backend) is told, and the next round tries again; what waiting does not mend ends the program.
Task<std::exception_ptr> Dispatcher::troubleIn(Task<void> round) {
    const std::exception_ptr failure = co_await caughtException(std::move(round));
    if (failure) {
        take(failure);
    }
    co_return failure;
}

void Dispatcher::take(const std::exception_ptr& trouble) {
    if (const auto shortage = shortageIn(trouble)) {
        services_.startPauses.failed(*shortage, steady_clock::now());
        return;
    }
    try {
        std::rethrow_exception(trouble);
    } catch (const DatabaseError& error) {
        services_.disk.failed(error);
    } catch (const std::filesystem::filesystem_error& error) {
        services_.disk.failed(error);
    } catch (const ReportUnknown&) {
        // Whoever settles the item tells what it waits for.
    } catch (const BackendUnavailable& error) {
        services_.health.heed(error.retryAfter());
        services_.health.failed(std::runtime_error(error.cause()));
    } catch (const boost::system::system_error& error) {
        if (error.code() == boost::asio::error::operation_aborted) {
            throw;
        }
        endWith(trouble);
    } catch (...) {
        endWith(trouble);
    }
}

/// Notices what nobody tells: new events, changed settings, memory that is free again.
Task<void> Dispatcher::heartbeat() {
    for (int beat = 0;; ++beat) {
        co_await troubleIn(events_.showNew());
        if (beat % beatsPerLook == 0) {
            orphans_.sweep();
            tellUnclaimedChildren();
            endIfTokenIsRefused();
            lookAtHome();
            co_await troubleIn(lookAtDisk());
            co_await troubleIn(refreshSettings());
            changed_.notify();
        }
        co_await sleepFor(heartbeatInterval);
    }
}

/// On its own, since whatever waits for the disk or the backend looks too seldom.
Task<void> Dispatcher::watchClocks() {
    while (true) {
        services_.runningTime.look(readClocks(services_.clock));
        co_await sleepFor(std::chrono::seconds(1));
    }
}

/// Intake hears of it, too, but seldom asks; meanwhile sessions could not tell whether their work is done.
void Dispatcher::endIfTokenIsRefused() {
    constexpr int unauthorized = 401;
    if (services_.health.refusesToken() && !failure_) {
        endWith(std::make_exception_ptr(tokenRefused(services_.client, unauthorized)));
    }
}

bool Dispatcher::isClaimed(const ProcessEntry& process) const {
    const std::string gitMark = gitMarkOf(services_.home).assignment();
    const bool isOfGit = startedWith(process.pid, gitMark);  // its housekeeping outlives it
    return isOfGit || isStartedHere(process) || std::ranges::any_of(sessions_, [&](const auto& session) {
               return session.second->hasProcess(process);
           });
}

void Dispatcher::tellUnclaimedChildren() {
    const auto claimed = [this](const ProcessEntry& process) { return isClaimed(process); };
    for (const ProcessEntry& process :
         unclaimed_.due(processTable(), getpid(), claimed, steady_clock::now())) {
        const std::string pid = std::to_string(process.pid);
        services_.board.note(
            "Process " + pid + " (" + withoutControls(process.name) +
            ") was left behind and works in no worktree of a running bug, so it is left alone; look "
            "at it with: ps -fp " +
            pid);
    }
}

/// One alert for as long as it is away. A run once has nothing to wait for.
void Dispatcher::lookAtHome() {
    const std::string trouble = services_.homeIsInPlace() ? "" : describeLostHome(services_.home);
    if (!trouble.empty() && options_.once && !failure_) {
        return endWith(std::make_exception_ptr(UserError(trouble)));
    }
    services_.board.alert("home", trouble);
    if (homeIsAway_ && trouble.empty()) {
        services_.board.note("The dispatch home is back in its place.");
    }
    homeIsAway_ = !trouble.empty();
}

Task<void> Dispatcher::lookAtDisk() {
    if (!services_.homeIsInPlace() || !services_.disk.isTrialDue(steady_clock::now())) {
        co_return;
    }
    const bool isWritable = co_await canBeWritten(services_.store, services_.background, services_.home,
                                                  services_.disk.unwritten());
    if (isWritable) {
        services_.disk.recovered();
        changed_.notify();
    }
}

Task<void> Dispatcher::refreshSettings() {
    for (const std::string& news : co_await settings_.refresh()) {
        services_.board.noteOnce(news);
    }
}

/// A git of an earlier owner may still change a repository, or remove what it has half done.
Task<void> Dispatcher::endOrphans() {
    while (!stopping_) {
        const bool isKnown = !processTable().empty();
        const auto gits = co_await endOrphanedGits(services_.home);
        const std::string trouble =
            !isKnown ? "The processes that run cannot be listed (too few descriptors, perhaps); nothing "
                       "starts until it is known that no git of an earlier run is left."
            : gits.empty() ? ""
                           : "Process " + std::to_string(gits.front().pid) +
                                 ", a git that an earlier run left behind, cannot be ended; nothing starts "
                                 "until it has ended.";
        services_.board.alert("orphaned gits", trouble);
        if (trouble.empty()) {
            co_return;
        }
        if (options_.once) {
            throw UserError(trouble);
        }
        co_await sleepFor(reconciliationPause);
    }
}

Task<void> Dispatcher::findInterrupted() {
    for (BugQueueItem& item : co_await recovery_.interruptedItems()) {
        const Uuid itemID = item.id;
        unreconciled_.emplace(itemID, Unreconciled{.item = std::move(item)});
    }
    const auto count = unreconciled_.size();
    if (count > 0) {
        services_.board.note(std::to_string(count) + (count == 1 ? " session was" : " sessions were") +
                             " interrupted when the dispatcher last ended; settling.");
        reconciliationWanted_.notify();
    }
}

Task<void> Dispatcher::reconcileInterrupted() {
    int failures = 0;
    while (true) {
        if (unreconciled_.empty()) {
            co_await reconciliationWanted_.wait();
        }
        const auto waiting = unreconciled_.size();
        co_await troubleIn(reconcileOnce());
        changed_.notify();
        failures = unreconciled_.size() == waiting ? failures + 1 : 0;
        if (!unreconciled_.empty()) {
            co_await pauseReconciliation(failures);
        }
    }
}

/// Longer after rounds that settled nothing, but a session that has just ended does not wait for that.
Task<void> Dispatcher::pauseReconciliation(int failures) {
    const auto waiting = unreconciled_.size();
    const auto end = steady_clock::now() + pauseBeforePoll(reconciliationPause, failures, 0);
    while (steady_clock::now() < end && unreconciled_.size() == waiting) {
        co_await sleepFor(longestStep);
    }
}

Task<void> Dispatcher::reconcileOnce() {
    if (!services_.homeIsInPlace()) {
        co_return;
    }
    const auto waiting = unreconciled_;
    for (const auto& [itemID, unreconciled] : waiting) {
        const auto current = co_await services_.store.items.item(itemID);
        std::string trouble;
        if (current) {
            trouble = co_await recovery_.settle(*current, unreconciled.cause);
        }
        const std::string& bugID = unreconciled.item.bugID;
        services_.board.alert("settling " + bugID,
                              trouble.empty() ? "" : "Bug " + bugID + " waits: " + trouble);
        endIfTokenIsRefused();
        if (!trouble.empty() && options_.once && !failure_) {
            endWith(std::make_exception_ptr(UserError("Bug " + bugID + " waits: " + trouble)));
        }
        if (trouble.empty()) {
            unreconciled_.erase(itemID);
            const auto settled = co_await services_.store.items.item(itemID);
            if (settled) {
                services_.board.show(restingProgress(*settled));
            }
        }
    }
}

Task<void> Dispatcher::takeBugsIn() {
    int failures = 0;
    do {
        std::exception_ptr trouble;
        if (services_.homeIsInPlace()) {
            trouble = co_await troubleIn(intake_.takeIn());
        }
        failures = trouble ? failures + 1 : 0;
        if (trouble && options_.once) {
            endWith(trouble);
        }
        changed_.notify();
        intakeEnded_ = options_.once;
        if (!options_.once) {
            co_await pauseFor(&Settings::pollBugsSeconds, failures);
        }
    } while (!options_.once && !stopping_);
}

/// What the backend lists is known first, so that it need not be asked for each bug.
Task<void> Dispatcher::retireRepeatedly() {
    while (!intake_.listed().isKnown()) {
        co_await sleepFor(heartbeatInterval);
    }
    while (!options_.once) {
        if (services_.homeIsInPlace()) {
            co_await troubleIn(retirement_.retireMerged());
        }
        co_await pauseFor(&Settings::pollMergeSeconds);
    }
}

/// Longer after failures, and until the backend wants to be asked again. In short steps, so that a changed
/// setting counts for the pause that has begun.
Task<void> Dispatcher::pauseFor(double Settings::*seconds, int failures) {
    using std::chrono::milliseconds;
    const auto begun = steady_clock::now();
    const auto rest = [&] {
        const auto interval =
            std::chrono::ceil<milliseconds>(std::chrono::duration<double>(services_.settings.*seconds));
        const auto end = std::max<steady_clock::time_point>(begun + pauseBeforePoll(interval, failures, 0),
                                                            services_.health.askAgainAt());
        return std::chrono::ceil<milliseconds>(end - steady_clock::now());
    };
    while (rest() > rest().zero()) {
        co_await sleepFor(std::min<milliseconds>(rest(), longestStep));
    }
}

}  // namespace quernlight::host
