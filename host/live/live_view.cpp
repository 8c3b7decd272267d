#include "host/live/live_view.hpp"

#include <algorithm>
#include <csignal>
#include <utility>

#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

#include "host/events/session_stage.hpp"
#include "host/live/live_actions.hpp"
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
constexpr milliseconds lookInterval{1000};
constexpr milliseconds leastBetweenDrawings{40};
constexpr milliseconds turnTime{250};
constexpr milliseconds foregroundInterval{300};

// Without wrapping, a row that the terminal finds wider than we do leaves the next one alone.
constexpr std::string_view beginning = "\x1b[?1049h\x1b[?2004h\x1b[?25l\x1b[?7l";
constexpr std::string_view ending = "\x1b\\\x1b[?7h\x1b[?2004l\x1b[m\x1b[?25h\x1b[?1049l";

void listenTo(asio::signal_set& signals) {
    signals.add(SIGTSTP);
    signals.add(SIGCONT);
}

}  // namespace

LiveView::LiveView(const asio::any_io_executor& executor, Uses uses)
    : executor_(executor),
      uses_(std::move(uses)),
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
    terminal_.reset();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

Task<void> LiveView::show() {
    tasks_.add("looking at the dispatcher", lookRepeatedly());
    tasks_.add("reading about a bug", readPanes());
    tasks_.add("doing what a person wishes", doWishes());
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

Task<void> LiveView::takeTerminal() {
    while (!isInForeground(uses_.device)) {
        co_await uses_.clock.sleepFor(foregroundInterval);
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

Task<void> LiveView::lookRepeatedly() {
    while (true) {
        co_await look();
        co_await uses_.clock.sleepFor(leastBetweenLooks);
        co_await uses_.clock.waitUntil(news_, uses_.clock.steadyNow() + lookInterval - leastBetweenLooks);
    }
}

const LiveBug* LiveView::selected() const {
    return selectedBug(inOrder(listedBugs(snapshot_, choice_.filter)), choice_);
}

/// Goals do not change, and what has changed in a worktree is only looked at when that is asked for.
Task<void> LiveView::readPanes() {
    while (true) {
        co_await paneWanted_.wait();
        const LiveBug* bug = selected();
        if (!bug || !terminal_) {
            continue;
        }
        const LivePane wanted = shownPane(*bug, choice_);
        const bool isRead = pane_.bugID == bug->bugID && pane_.pane == wanted;
        if (isRead && !isReadFromEnd(wanted)) {
            continue;
        }
        std::string bugID = bug->bugID;
        pane_ = co_await look_.pane(std::move(bugID), wanted);
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
        bytes += redraw(shown_, wanted);
        shown_ = std::move(wanted);
        if (!bytes.empty()) {
            co_await terminal_->write(std::move(bytes));
            bytes.clear();
        }
        co_await uses_.clock.sleepFor(leastBetweenDrawings);
        const milliseconds longest = turns() ? turnTime : lookInterval;
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
            const bool showedDiff = choice_.pane == LivePane::diff;
            if (key.kind == LiveKey::Kind::redraw) {
                shown_ = {};
            } else if (auto wish = takeKey(key, snapshot_, choice_)) {
                take(std::move(*wish));
            }
            const bool isAskedAgain =
                showedDiff && key.text == "d" && !choice_.answering && !choice_.filtering;
            if (isAskedAgain) {
                pane_ = {};
            }
        }
        changed_.notify();
        paneWanted_.notify();
    }
}

void LiveView::tell(const std::string& sentence) {
    choice_.message = sentence;
    choice_.isTrouble = false;
    changed_.notify();
}

void LiveView::leave(const LiveWish& wish) {
    if (!uses_.stop) {
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

void LiveView::take(LiveWish wish) {
    if (wish.action == LiveAction::leave) {
        return leave(wish);
    }
    if (aside_ != Aside::none) {
        return;
    }
    if (wish.action != LiveAction::attach) {
        choice_.message = "…";
        wishes_.push_back(std::move(wish));
        return wished_.notify();
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

/// A question that comes while something is typed would take a letter of that for its answer.
Task<void> LiveView::doWishes() {
    while (true) {
        co_await wished_.wait();
        while (!wishes_.empty()) {
            LiveWish wish = std::move(wishes_.front());
            wishes_.pop_front();
            LiveOutcome outcome = co_await done(std::move(wish), uses_.service, uses_.home);
            const bool isTyping = choice_.answering || choice_.filtering;
            choice_.message = outcome.question && isTyping ? outcome.question->sentence : outcome.sentence;
            choice_.isTrouble = outcome.isTrouble;
            if (!isTyping && !choice_.question) {
                choice_.question = std::move(outcome.question);
            }
            news_.notify();
            changed_.notify();
        }
    }
}

}  // namespace quernlight::host
