#include "host/dispatcher/start_loop.hpp"

#include <algorithm>

#include <boost/asio/this_coro.hpp>

#include "host/events/standing_wish.hpp"
#include "host/process/user_error.hpp"
#include "host/text/counted.hpp"
#include "host/worktree/resolved_mapping.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::seconds restAfterTrouble{5};

bool waitsFor(const AdmissionDecision& decision, WaitCause cause) {
    return decision.reason && decision.reason->cause == cause;
}

const AdmissionDecision* firstThatWaitsFor(const std::vector<AdmissionDecision>& decisions, WaitCause cause) {
    const auto waits = [cause](const AdmissionDecision& decision) { return waitsFor(decision, cause); };
    const auto found = std::ranges::find_if(decisions, waits);
    return found == decisions.end() ? nullptr : &*found;
}

/// Whether any of them goes on without a person.
bool anyGoesOn(const std::vector<AdmissionDecision>& decisions) {
    return std::ranges::any_of(decisions, [](const AdmissionDecision& decision) {
        return decision.starts() || passesByItself(decision.reason->cause);
    });
}

/// Whether it waits for something that its status does not show.
bool waitsUnseen(const AdmissionDecision& decision) {
    const bool isHeld = decision.item.queueMode == QueueMode::manual;
    return waitsFor(decision, WaitCause::worktreeInUse) ||
           (isHeld && waitsFor(decision, WaitCause::noMapping));
}

}  // namespace

StartLoop::StartLoop(ChoreContext& context, RunningSessions& sessions, Reconciliation& reconciliation,
                     Work work)
    : context_(context),
      services_(context.services),
      sessions_(sessions),
      reconciliation_(reconciliation),
      work_(std::move(work)),
      gatherer_(
          services_.store, services_.settings, [this](AdmissionFacts& facts) { addOwnersPart(facts); },
          looksAtThisMachine(services_.environment)) {}

Task<void> StartLoop::run() {
    while (!done_ && !context_.isStopping()) {
        co_await context_.changed.wait();
        co_await runRound(context_, startWhatMay());
    }
}

/// Whether all has ended is asked before the facts are gathered, for that takes its time and what ends
/// meanwhile may be queued again.
Task<void> StartLoop::startWhatMay() {
    const bool allHasEnded = noneComes_ && sessions_.isEmpty() && reconciliation_.isDone();
    services_.startPauses.follow(services_.clock.steadyNow(), services_.clock.now());
    const AdmissionFacts facts = co_await gatherer_.gather();
    const auto decisions = admit(facts);
    endUnusedPauses(facts);
    tell(facts, decisions);
    for (const AdmissionDecision& decision : decisions) {
        const bool isToStart = decision.starts() || waitsFor(decision, WaitCause::mappingGone);
        if (isToStart && !co_await start(decision.item)) {
            break;
        }
    }
    done_ = allHasEnded && !anyGoesOn(decisions);
    if (done_) {
        endWith(decisions);
    }
}

/// The facts are older than the look at each item before this one, so the item is read once more; last, since
/// nobody may change it between that and the start. What was read before a claim that came meanwhile may not
/// be so any more, and nor may their order: nobody after it starts then, lest it be before its turn. What its
/// last session has come to is found out first.
Task<bool> StartLoop::start(BugQueueItem listed) {
    const std::size_t claims = work_.claimsMade();
    const auto mapping = co_await services_.store.mappings.mapping(listed.bundleID);
    const auto attempt = co_await services_.store.attempts.latestAttempt(listed.id);
    const auto wish = standingWish(co_await services_.store.items.events(listed.id));
    const auto executor = co_await boost::asio::this_coro::executor;
    auto current = co_await services_.store.items.item(listed.id);
    if (claims != work_.claimsMade()) {
        context_.changed.notify();
        co_return false;
    }
    if (work_.areAllClaimed()) {  // whose end begins another round
        co_return false;
    }
    const bool isSame = current && current->queueMode == listed.queueMode;
    if (!isSame || current->status != QueueItemStatus::queued) {
        co_return true;
    }
    if (!mapping) {
        co_await awaitMapping(std::move(*current));
        co_return true;
    }
    if (!mayStartNow(current->id, resolved(*mapping).repoPath)) {
        co_return true;
    }
    if (attempt && isOpen(*attempt)) {
        reconciliation_.add(*current, {.reason = "Its session ended while the backend could not be asked."});
    } else if (wish != StandingWish::none) {
        reconciliation_.add(*current, {.reason = "A person's wish came while its session ended."});
    } else {
        sessions_.start(executor, *current, *mapping);
    }
    co_return true;
}

/// In the manual queue, which has no status for it, it stays as it is, and admission lets it wait.
Task<void> StartLoop::awaitMapping(BugQueueItem item) {
    if (item.queueMode == QueueMode::manual) {
        co_return;
    }
    const std::string sentence =
        "The repository mapping of " + item.bundleID + " is gone; set it again with \"map set\".";
    ItemEvent event{.itemID = item.id, .kind = EventKind::mappingGone, .message = sentence};
    co_await appendEvent(services_.store.items, std::move(event));
    co_await services_.manager.markResumable(item.id);
    if (const auto waiting = co_await services_.store.items.item(item.id)) {
        services_.events.progress(restingProgress(*waiting));
    }
}

/// What may have changed since the facts were gathered, by the start of another item above all.
bool StartLoop::mayStartNow(const Uuid& itemID, const std::string& repository) const {
    return !context_.isStopping() && work_.isNone(itemID) && !pauseOf(repository) &&
           sessions_.count() < services_.settings.maxSessions && services_.disk.isWell() &&
           services_.homeIsInPlace();
}

void StartLoop::letRest(const Uuid& itemID) {
    resting_[itemID] = services_.clock.steadyNow() + restAfterTrouble;
}

void StartLoop::addOwnersPart(AdmissionFacts& facts) {
    const auto now = services_.clock.steadyNow();
    std::erase_if(resting_, [now](const auto& rest) { return now >= rest.second; });
    for (ItemFacts& item : facts.items) {
        item.work = work_.on(item.item.id);
        item.restsAfterTrouble = resting_.contains(item.item.id);
        item.pause = pauseOf(item.repository.value_or(""));
    }
    ProgramFacts& program = facts.program;
    program.sessionsRunning = sessions_.count();
    program.stopping = context_.isStopping();
    program.homeIsInPlace = services_.homeIsInPlace();
    program.homeIsWritable = services_.disk.isWell();
}

/// With `once` what has failed is not tried again, since nobody is there to put the cause right meanwhile.
std::optional<StartPause> StartLoop::pauseOf(const std::string& repository) const {
    if (!context_.once) {
        return services_.startPauses.pauseOf(repository, services_.clock.steadyNow());
    }
    const auto cause = services_.startPauses.trouble(repository);
    return cause ? std::optional(StartPause{.cause = *cause}) : std::nullopt;
}

/// A bug that waited for the end of a pause may have been cancelled, or mapped elsewhere. One that is under
/// way may be about to go back into its queue, because of what the pause was made for.
void StartLoop::endUnusedPauses(const AdmissionFacts& facts) {
    std::set<std::string> repositories;
    for (const ItemFacts& item : facts.items) {
        const bool mayWait = item.item.status == QueueItemStatus::queued || item.work != ItemWork::none;
        if (item.repository && mayWait) {
            repositories.insert(*item.repository);
        }
    }
    services_.startPauses.endUnused(repositories);
}

void StartLoop::tell(const AdmissionFacts& facts, const std::vector<AdmissionDecision>& decisions) {
    tellMemory(decisions);
    tellHeldBack(decisions);
    keepReasons(decisions);
    for (std::size_t index = 0; index < decisions.size(); ++index) {
        const bool isBroken = waitsFor(decisions[index], WaitCause::repositoryBroken);
        if (isBroken || waitsFor(decisions[index], WaitCause::agentMissing)) {
            OutsideFailure failure{.cause = decisions[index].reason->about};
            failure.repository = isBroken ? facts.items[index].repository : std::nullopt;
            services_.startPauses.failed(failure, services_.clock.steadyNow());
            context_.changed.notify();
        }
    }
}

void StartLoop::keepReasons(const std::vector<AdmissionDecision>& decisions) {
    reasons_.clear();
    for (const AdmissionDecision& decision : decisions) {
        if (decision.reason) {
            reasons_.emplace(decision.item.id, *decision.reason);
        }
    }
}

std::optional<WaitReason> StartLoop::reasonToWait(const Uuid& itemID) const {
    const auto found = reasons_.find(itemID);
    return found == reasons_.end() || found->second.cause == WaitCause::running
               ? std::nullopt
               : std::optional(found->second);
}

void StartLoop::tellMemory(const std::vector<AdmissionDecision>& decisions) {
    const auto* decision = firstThatWaitsFor(decisions, WaitCause::memoryShort);
    services_.events.alert({AlertTopic::memory}, decision ? "No session is started while less than " +
                                                                std::to_string(decision->reason->limit) +
                                                                " MiB of memory are available."
                                                          : "");
}

/// What was told holds until another look shows that it is over, or nobody waits for it.
void StartLoop::tellHeldBack(const std::vector<AdmissionDecision>& decisions) {
    std::set<std::string> over = std::exchange(heldBack_, {});
    for (const AdmissionDecision& decision : decisions) {
        const std::string& bugID = decision.item.bugID;
        const bool isUnknown = decision.reason && decision.reason->cause >= WaitCause::stopping;
        const bool isHeldBack = waitsUnseen(decision);
        if (isHeldBack) {
            services_.events.alert({AlertTopic::starting, bugID},
                                   "Bug " + bugID + " waits: " + sentenceOf(*decision.reason));
        }
        if (isHeldBack || (isUnknown && over.contains(bugID))) {
            heldBack_.insert(bugID);
            over.erase(bugID);
        }
    }
    for (const std::string& bugID : over) {
        services_.events.alert({AlertTopic::starting, bugID}, "");
    }
}

/// What was not started for a cause outside of it is the program's failure.
void StartLoop::endWith(const std::vector<AdmissionDecision>& decisions) {
    const auto isPaused = [](const auto& decision) { return waitsFor(decision, WaitCause::startsPaused); };
    const auto count = std::ranges::count_if(decisions, isPaused);
    if (count > 0) {
        const auto* first = firstThatWaitsFor(decisions, WaitCause::startsPaused);
        context_.endProgram(std::make_exception_ptr(
            UserError(counted(count, "bug") + " could not be started: " + first->reason->about)));
    }
}

}  // namespace quernlight::host
