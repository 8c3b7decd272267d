#include "host/live/live_view.hpp"

#include <algorithm>
#include <csignal>
#include <utility>

#include <fcntl.h>
#include <unistd.h>
#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

#include "host/events/session_stage.hpp"
#include "host/process/caught_exception.hpp"
#include "host/process/user_error.hpp"
#include "host/terminal/attachment.hpp"
#include "host/text/failure_sentence.hpp"
#include "host/text/relative_time.hpp"

namespace quernlight::host {
namespace {

namespace asio = boost::asio;
using std::chrono::milliseconds;

constexpr milliseconds leastBetweenLooks{500};
constexpr milliseconds lookInterval{10000};
constexpr milliseconds runningInterval{1000};
constexpr milliseconds leastBetweenDrawings{40};
constexpr milliseconds turnTime{250};
constexpr milliseconds foregroundInterval{300};
constexpr std::chrono::seconds troubledPaneTime{5};  // until what could not be had is asked for again
constexpr std::size_t mostWishes = 20;               // under way

// Without wrapping, a row that the terminal finds wider than we do leaves the next one alone.
constexpr std::string_view beginning = "\x1b[?1049h\x1b[?2004h\x1b[?25l\x1b[?7l";
constexpr std::string_view ending = "\x1b\\\x1b[?7h\x1b[?2004l\x1b[m\x1b[?25h\x1b[?1049l";

/// The key that shows it.
std::string_view letterOf(LivePane pane) {
    return nameOf(pane).substr(0, 1);
}

void listenTo(asio::signal_set& signals) {
    signals.add(SIGTSTP);
    signals.add(SIGCONT);
}

}  // namespace

LiveView::LiveView(const asio::any_io_executor& executor, Uses uses)
    : executor_(executor),
      uses_(std::move(uses)),
      device_(::open(uses_.device.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)),
      look_(uses_.service, uses_.home, uses_.clock),
      tasks_(executor, reportFailure),
      shownTasks_(executor, reportFailure) {}

Task<void> LiveView::run() {
    const std::exception_ptr failure = co_await caughtException(show());
    // What uses this must have ended also when this is cancelled.
    co_await asio::this_coro::reset_cancellation_state(asio::disable_cancellation());
    co_await tasks_.end();
    co_await shownTasks_.end();
    hasEnded_ = true;
    if (!terminal_ && left_ && isThere()) {  // it is somebody else's just now
        leaveLines(uses_.device, left_());
    }
    terminal_.reset();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

Task<void> LiveView::show() {
    tasks_.add("looking at the dispatcher", lookRepeatedly());
    tasks_.add("looking at what changes often", lookAtWhatRuns());
    tasks_.add("reading about a bug", readPanes());
    tasks_.add("following job control", followJobControl());
    while (!isLeaving_) {
        co_await takeTerminal();
        while (aside_ == Aside::none && !isLeaving_) {
            co_await next_.wait();
        }
        co_await shownTasks_.end();
        if (isLeaving_) {
            co_return;
        }
        terminal_.reset();
        if (aside_ == Aside::attached) {
            tasks_.add("attaching to an agent", attachTo(attached_));
        }
        if (aside_ == Aside::suspended) {  // nobody else waits for it
            putAside_.notify();
        }
        while (aside_ != Aside::none) {
            co_await next_.wait();
        }
    }
}

/// The next terminal may be given its name.
bool LiveView::isThere() const {
    return isatty(device_.get()) != 0;
}

Task<void> LiveView::takeTerminal() {
    while (isThere() && !isInForeground(uses_.device)) {
        co_await uses_.clock.sleepFor(foregroundInterval);
    }
    if (!isThere()) {
        throw UserError("The terminal " + uses_.device + " has gone, so nothing is shown there any more.");
    }
    terminal_ = std::make_unique<OwnTerminal>(executor_, uses_.device, TerminalKeys::signals);
    terminal_->undoWith([this] { return undone(); });
    shown_ = {};
    shownTasks_.add("drawing", paint());
    shownTasks_.add("reading keys", readKeys());
    shownTasks_.add("following the terminal's size", followSize());
}

std::string LiveView::undone() const {
    std::string bytes(ending);
    if (hasEnded_ && left_) {
        for (const std::string& line : left_()) {
            bytes += line + "\r\n";
        }
    }
    return bytes;
}

// ---- what is known

Task<void> LiveView::look() {
    try {
        const LiveAnswers answers = co_await look_.answers();
        const bool wasKnown = snapshot_.isKnown && snapshot_.trouble.empty();
        const bool wasOwned = snapshot_.owner.has_value();
        const Instant now = uses_.clock.now();
        snapshot_ = liveSnapshot(answers, now, localOffset(now));
        tellOwner(wasKnown, wasOwned);
        keepSelected();
    } catch (const boost::system::system_error& error) {
        if (error.code() == asio::error::operation_aborted) {
            throw;
        }
        snapshot_.trouble = failureSentence(error);
    } catch (const std::exception& error) {
        snapshot_.trouble = failureSentence(error);
    }
    changed_.notify();
    paneWanted_.notify();
}

/// A bug that comes in above it takes no key that was meant for it.
void LiveView::keepSelected() {
    const LiveBug* bug = selected();
    if (bug && choice_.bugID.empty()) {
        choice_.bugID = bug->bugID;
    }
}

void LiveView::tellOwner(bool wasKnown, bool wasOwned) {
    if (wasKnown && wasOwned != snapshot_.owner.has_value()) {
        choice_.isTrouble = wasOwned;
        choice_.message =
            wasOwned ? "The dispatcher has ended; this is what is stored." : "A dispatcher runs now.";
    }
}

/// An event is looked at soon, an agent's next line within a second; what no event tells (memory, who is
/// asked next) now and then.
Task<void> LiveView::lookRepeatedly() {
    EventListener listener{.happened = [this](const DispatchEvent& event) { take(event); },
                           .lookAnew = [this] { news_.notify(); }};
    const EventSubscription following = uses_.service.subscribe(executor_, std::move(listener));
    while (true) {
        co_await look();
        co_await uses_.clock.sleepFor(leastBetweenLooks);
        co_await uses_.clock.waitUntil(news_, uses_.clock.steadyNow() + lookInterval - leastBetweenLooks);
    }
}

void LiveView::take(const DispatchEvent& event) {
    if (std::holds_alternative<DetailChanged>(event)) {
        hasNewLines_ = true;
    } else {
        news_.notify();
    }
}

Task<void> LiveView::lookAtWhatRuns() {
    while (true) {
        co_await uses_.clock.sleepFor(runningInterval);
        paneWanted_.notify();
        if (std::exchange(hasNewLines_, false)) {
            news_.notify();
        }
    }
}

const LiveBug* LiveView::selected() const {
    return selectedBug(inOrder(listedBugs(snapshot_, choice_.filter)), choice_);
}

/// Goals do not change, and what has changed in a worktree is only looked at when that is asked for.
bool LiveView::isPaneKept(const LiveBug& bug) const {
    const LivePane wanted = shownPane(bug, choice_);
    const bool isOld = uses_.clock.steadyNow() - paneReadAt_ >= troubledPaneTime;
    return pane_.bugID == bug.bugID && pane_.pane == wanted && !isReadFromEnd(wanted) &&
           !(pane_.isTrouble && isOld);
}

Task<void> LiveView::readPanes() {
    while (true) {
        co_await paneWanted_.wait();
        const LiveBug* bug = selected();
        if (!bug || !terminal_ || isPaneKept(*bug)) {
            continue;
        }
        const LivePane wanted = shownPane(*bug, choice_);
        std::string bugID = bug->bugID;
        pane_ = co_await look_.pane(std::move(bugID), wanted);
        paneReadAt_ = uses_.clock.steadyNow();
        changed_.notify();
        co_await uses_.clock.sleepFor(leastBetweenLooks / 2);
    }
}

// ---- the terminal

LiveFrame LiveView::frame() const {
    const Instant now = uses_.clock.now();
    const auto turn = uses_.clock.steadyNow().time_since_epoch() / turnTime;
    return {.size = size_,
            .isColoured = uses_.isColoured,
            .turn = static_cast<std::size_t>(turn),
            .now = now,
            .offset = localOffset(now)};
}

bool LiveView::turns() const {
    return std::ranges::any_of(snapshot_.bugs, [](const LiveBug& bug) {
        return bug.isFollowed && isRunning(bug.stage) && !bug.exitCode;
    });
}

Task<void> LiveView::paint() {
    std::string bytes(beginning);
    while (true) {
        const TerminalSize size = terminal_->size();
        size_ = {.columns = std::min(size.columns, largestReadable.columns),
                 .rows = std::min(size.rows, largestReadable.rows)};
        LivePicture wanted = livePicture(snapshot_, choice_, pane_, frame());
        if (wanted.paneLines > 0) {
            choice_.paneLines = wanted.paneLines;
            choice_.scrolled = wanted.scrolled;
        }
        bytes += redraw(shown_, wanted);
        shown_ = std::move(wanted);
        if (!bytes.empty()) {
            co_await terminal_->write(std::move(bytes));
            bytes.clear();
        }
        co_await uses_.clock.sleepFor(leastBetweenDrawings);
        const milliseconds longest = turns() ? turnTime : runningInterval;
        co_await uses_.clock.waitUntil(changed_, uses_.clock.steadyNow() + longest);
    }
}

Task<void> LiveView::followSize() {
    asio::signal_set resized(executor_, SIGWINCH);
    while (true) {
        co_await resized.async_wait(asio::use_awaitable);
        shown_ = {};  // also where it has its old size again: what was cut off meanwhile is gone
        changed_.notify();
    }
}

/// Ctrl-Z, and the program's continuing, after which others may have used the terminal. An agent's terminal
/// takes Ctrl-Z as a key.
Task<void> LiveView::followJobControl() {
    asio::signal_set signals(executor_);
    listenTo(signals);
    while (true) {
        const int number = co_await signals.async_wait(asio::use_awaitable);
        if (aside_ != Aside::none) {
            continue;
        }
        aside_ = Aside::suspended;
        next_.notify();
        co_await putAside_.wait();
        if (number == SIGTSTP) {
            signals.clear();
            std::raise(SIGTSTP);  // returns once the program goes on
            listenTo(signals);
        }
        aside_ = Aside::none;
        next_.notify();
    }
}

// ---- keys, and what they do

Task<void> LiveView::readKeys() {
    LiveKeys keys;
    while (!isLeaving_) {
        const std::string bytes = co_await terminal_->read();
        if (bytes.empty()) {  // the terminal is gone
            isLeaving_ = true;
            next_.notify();
        }
        for (const LiveKey& key : keys.read(bytes)) {
            const bool isTyping = choice_.answering || choice_.filtering;
            const bool isAskedAgain = !isTyping && choice_.pane && key.text == letterOf(*choice_.pane);
            if (key.kind == LiveKey::Kind::redraw) {
                shown_ = {};
            } else if (auto wish = takeKey(key, snapshot_, choice_)) {
                take(std::move(*wish));
            }
            if (isAskedAgain) {
                pane_ = {};
            }
        }
        changed_.notify();
        paneWanted_.notify();
    }
}

void LiveView::tell(const std::string& sentence) {
    host::tell(choice_, sentence, false);
    changed_.notify();
}

void LiveView::leave(const LiveWish& wish) {
    if (!uses_.stop && !wishes_.empty() && !wish.isConfirmed) {
        choice_.question =
            LiveQuestion{.sentence = "What you asked for bug " + wishes_.begin()->first +
                                     " is still being done, and may be left undone. Leave all the same?",
                         .wish = wish};
    } else if (!uses_.stop) {
        isLeaving_ = true;
        next_.notify();
    } else if (wish.isConfirmed) {
        uses_.stop();
    } else {
        choice_.question =
            LiveQuestion{.sentence = "This stops the dispatcher; its bugs go on at the next start. Stop it?",
                         .wish = wish};
    }
}

/// Those of one bug one after the other, in their order; none waits for another bug's.
void LiveView::begin(LiveWish wish) {
    std::size_t count = 0;
    for (const auto& [bugID, waiting] : wishes_) {
        count += waiting.size();
    }
    if (count >= mostWishes) {
        return told(
            {.sentence = "Too much is being done already; try again in a moment.", .isTrouble = true});
    }
    choice_.message = beingDone;
    const std::string bugID = wish.bugID;
    const bool isFirst = !wishes_.contains(bugID);
    wishes_[bugID].push_back(std::move(wish));
    if (isFirst) {
        tasks_.add("doing what a person wishes of bug " + bugID, doWishesFor(bugID));
    }
}

void LiveView::take(LiveWish wish) {
    if (wish.action == LiveAction::leave) {
        return leave(wish);
    }
    if (aside_ != Aside::none) {
        return;
    }
    if (wish.action != LiveAction::attach) {
        return begin(std::move(wish));
    }
    const auto bug = std::ranges::find(snapshot_.bugs, wish.bugID, &LiveBug::bugID);
    const bool hasAgent = bug != snapshot_.bugs.end() && bug->isFollowed && isRunning(bug->stage);
    if (!hasAgent) {
        choice_.message = "No agent works on bug " + wish.bugID + " now.";
        choice_.isTrouble = true;
        return;
    }
    attached_ = wish.bugID;
    aside_ = Aside::attached;
    next_.notify();
}

Task<void> LiveView::attachTo(std::string bugID) {
    AttachmentEnd ended;
    try {
        Attachment attachment{.home = uses_.home, .bugID = std::move(bugID)};
        ended = co_await attach(std::move(attachment));
    } catch (const boost::system::system_error& error) {
        if (error.code() == asio::error::operation_aborted) {
            throw;
        }
        ended = {.sentence = failureSentence(error), .isLost = true};
    } catch (const std::exception& error) {
        ended = {.sentence = failureSentence(error), .isLost = true};
    }
    choice_.awaitsEnter = !ended.isLeft;
    choice_.message = ended.sentence + (ended.isLeft ? "" : " Press Enter.");
    choice_.isTrouble = ended.isLost;
    aside_ = Aside::none;
    next_.notify();
    news_.notify();
}

Task<void> LiveView::doWishesFor(std::string bugID) {
    while (!wishes_.at(bugID).empty()) {
        LiveWish wish = wishes_.at(bugID).front();  // where it is counted until it is done
        LiveOutcome outcome = co_await done(std::move(wish), uses_.service, uses_.home);
        wishes_.at(bugID).pop_front();
        told(std::move(outcome));
        news_.notify();
    }
    wishes_.erase(bugID);
}

/// A question that comes while something is typed, or asked, would take a letter of that for its answer.
void LiveView::told(LiveOutcome outcome) {
    const bool isBusy = choice_.answering || choice_.filtering || choice_.question;
    if (!outcome.question) {
        host::tell(choice_, outcome.sentence, outcome.isTrouble);
    } else if (isBusy) {
        host::tell(choice_, outcome.question->sentence, true);
    } else {
        choice_.message.clear();
        choice_.question = std::move(outcome.question);
    }
    changed_.notify();
}

}  // namespace quernlight::host
