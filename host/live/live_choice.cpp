#include "host/live/live_choice.hpp"

#include <algorithm>
#include <utility>

#include "host/events/session_stage.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

using Kind = LiveKey::Kind;
using Bugs = std::vector<const LiveBug*>;

constexpr std::ptrdiff_t mostTold = 3;  // sentences at once

/// Enter and Escape are the caller's.
void edit(TypedLine& line, const LiveKey& key) {
    const std::size_t size = line.text.size();
    if (key.kind == Kind::text) {
        const std::u32string typed = unicodeScalars(key.text);
        line.text.insert(line.cursor, typed);
        line.cursor += typed.size();
    } else if (key.kind == Kind::backspace && line.cursor > 0) {
        line.text.erase(--line.cursor, 1);
    } else if (key.kind == Kind::remove && line.cursor < size) {
        line.text.erase(line.cursor, 1);
    } else if (key.kind == Kind::clear) {
        line = {};
    } else if (key.kind == Kind::left) {
        line.cursor -= std::min<std::size_t>(line.cursor, 1);
    } else if (key.kind == Kind::right) {
        line.cursor = std::min(line.cursor + 1, size);
    } else if (key.kind == Kind::home || key.kind == Kind::end) {
        line.cursor = key.kind == Kind::home ? 0 : size;
    }
}

std::optional<LiveWish> takeAnswer(const LiveKey& key, LiveChoice& choice) {
    if (key.kind == Kind::escape) {
        choice.answering.reset();
        choice.message = "Nothing was sent.";
    } else if (key.kind != Kind::enter) {
        edit(*choice.answering, key);
    } else if (const std::string text(trimmed(choice.answering->utf8())); !text.empty()) {
        choice.answering.reset();
        return LiveWish{.action = LiveAction::answer, .bugID = choice.answered, .text = text};
    }
    return std::nullopt;
}

std::optional<LiveWish> takeFilter(const LiveKey& key, LiveChoice& choice) {
    if (key.kind == Kind::escape) {
        choice.filter.clear();
    } else if (key.kind != Kind::enter) {
        edit(*choice.filtering, key);
        choice.filter = choice.filtering->utf8();
        return std::nullopt;
    }
    choice.filtering.reset();
    return std::nullopt;
}

/// Only y is a yes.
std::optional<LiveWish> takeReply(const LiveKey& key, LiveChoice& choice) {
    const LiveQuestion question = *std::exchange(choice.question, std::nullopt);
    if (key.kind == Kind::text && !key.isPasted && (key.text == "y" || key.text == "Y")) {
        LiveWish wish = question.wish;
        wish.isConfirmed = true;
        return wish;
    }
    choice.message = "Nothing was done.";
    return std::nullopt;
}

void select(LiveChoice& choice, const LiveBug* bug) {
    if (bug && choice.bugID != bug->bugID) {
        choice.bugID = bug->bugID;
        choice.scrolled = 0;
    }
}

void selectBeside(LiveChoice& choice, const Bugs& shown, std::ptrdiff_t step) {
    const auto at = std::ranges::find(shown, selectedBug(shown, choice)) - shown.begin();
    if (!shown.empty()) {
        select(
            choice,
            shown[static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(at + step, 0, std::ssize(shown) - 1))]);
    }
}

/// The first bug of the next section that has one, around.
void selectSection(LiveChoice& choice, const BugsBySection& listed, const LiveBug* selected, int step) {
    constexpr int count = static_cast<int>(allLiveSections.size());
    const int begin = selected ? static_cast<int>(*sectionOf(*selected)) : 0;
    for (int away = 1; away <= count; ++away) {
        const auto section = static_cast<LiveSection>((begin + step * away + count * away) % count);
        const auto bugs = listed.find(section);
        if (bugs != listed.end() && !bugs->second.empty()) {
            return select(choice, bugs->second.front());
        }
    }
}

void choosePane(LiveChoice& choice, LivePane pane) {
    choice.pane = pane;
    choice.scrolled = 0;
}

void choosePaneBeside(LiveChoice& choice, const LiveBug* selected, int step) {
    if (selected) {
        constexpr int count = static_cast<int>(allLivePanes.size());
        choosePane(choice, static_cast<LivePane>(
                               (static_cast<int>(shownPane(*selected, choice)) + step + count) % count));
    }
}

void scroll(LiveChoice& choice, const LiveBug* selected, bool isUp) {
    const bool beginsAtEnd = selected && isReadFromEnd(shownPane(*selected, choice));
    const std::size_t pageLines = std::max<std::size_t>(choice.paneLines, 2) - 1;
    choice.scrolled = beginsAtEnd == isUp ? choice.scrolled + pageLines
                                          : choice.scrolled - std::min(choice.scrolled, pageLines);
}

/// Any other key ends it.
void takeHelpKey(const LiveKey& key, LiveChoice& choice) {
    const std::size_t pageLines = std::max<std::size_t>(choice.paneLines, 2) - 1;
    choice.showsHelp = key.kind == Kind::pageDown || key.kind == Kind::pageUp;
    choice.scrolled = key.kind == Kind::pageDown ? choice.scrolled + pageLines
                      : key.kind == Kind::pageUp ? choice.scrolled - std::min(choice.scrolled, pageLines)
                                                 : 0;
}

std::string quoted(const LiveBug& bug) {
    return "Bug " + bug.bugID;
}

std::optional<LiveWish> askFirst(LiveChoice& choice, std::string sentence, LiveWish wish) {
    choice.question = LiveQuestion{.sentence = std::move(sentence), .wish = std::move(wish)};
    return std::nullopt;
}

std::optional<LiveWish> cancelled(LiveChoice& choice, const LiveBug& bug) {
    LiveWish wish{.action = LiveAction::cancel, .bugID = bug.bugID};
    const std::string meaning = isRunning(bug.stage) ? ": its agent is ended. Cancel it?" : ": cancel it?";
    return askFirst(choice, quoted(bug) + meaning, std::move(wish));
}

std::optional<LiveWish> retried(LiveChoice& choice, const LiveBug& bug) {
    LiveWish wish{.action = LiveAction::retry, .bugID = bug.bugID};
    if (bug.stage == SessionStage::inReview) {
        return askFirst(choice, quoted(bug) + ": its work is done. Have it worked on again?",
                        std::move(wish));
    }
    return wish;
}

void beginAnswer(LiveChoice& choice, const LiveBug& bug) {
    if (bug.stage == SessionStage::needsReply) {
        choice.answering = TypedLine();
        choice.answered = bug.bugID;
        return;
    }
    choice.isTrouble = true;
    choice.message = bug.stage == SessionStage::needsPerson
                         ? quoted(bug) + "'s agent asks in its terminal; press Enter to go there."
                         : quoted(bug) + " waits for no answer.";
}

/// What waits in the same queue, whether the filter shows it or not.
Bugs queueOf(const BugsBySection& all, const LiveBug& bug) {
    Bugs queue;
    const auto queued = all.find(LiveSection::queued);
    if (queued != all.end()) {
        std::ranges::copy_if(queued->second, std::back_inserter(queue),
                             [&](const LiveBug* other) { return other->isManual == bug.isManual; });
    }
    return queue;
}

bool holds(const BugsBySection& listed, const LiveBug* bug) {
    const Bugs shown = inOrder(listed);
    return std::ranges::find(shown, bug) != shown.end();
}

/// Past the one above it, or below it, in its own queue: never past one that is not seen.
std::optional<LiveWish> moved(LiveChoice& choice, const LiveSnapshot& snapshot, const LiveBug& bug,
                              int step) {
    const Bugs queue = queueOf(listedBugs(snapshot, ""), bug);
    const auto at = std::ranges::find(queue, &bug) - queue.begin();
    if (at == std::ssize(queue)) {
        tell(choice, quoted(bug) + " is not waiting in the queue.", true);
        return std::nullopt;
    }
    if (at + step < 0 || at + step == std::ssize(queue)) {
        return std::nullopt;  // it stands at the end already
    }
    const LiveBug* past = queue[static_cast<std::size_t>(at + step)];
    if (!holds(listedBugs(snapshot, choice.filter), past)) {
        tell(choice,
             quoted(bug) + " would move past bug " + past->bugID + ", which the filter hides; Esc shows all.",
             true);
        return std::nullopt;
    }
    return LiveWish{.action = step < 0 ? LiveAction::moveUp : LiveAction::moveDown,
                    .bugID = bug.bugID,
                    .text = past->bugID};
}

/// A letter that does something to the selected bug.
std::optional<LiveWish> takeBugLetter(char letter, const LiveSnapshot& snapshot, const LiveBug& bug,
                                      LiveChoice& choice) {
    switch (letter) {
        case 'a':
            beginAnswer(choice, bug);
            return std::nullopt;
        case 'c':
            return cancelled(choice, bug);
        case 'r':
            return retried(choice, bug);
        case 'n':
            return LiveWish{.action = LiveAction::next, .bugID = bug.bugID};
        case 'o':
            return LiveWish{.action = LiveAction::open, .bugID = bug.bugID};
        case 'J':
            return moved(choice, snapshot, bug, 1);
        case 'K':
            return moved(choice, snapshot, bug, -1);
        default:
            return std::nullopt;
    }
}

std::optional<LiveWish> takeLetter(char letter, const LiveSnapshot& snapshot, LiveChoice& choice) {
    const Bugs shown = inOrder(listedBugs(snapshot, choice.filter));
    const LiveBug* selected = selectedBug(shown, choice);
    select(choice, selected);  // it stays so wherever it goes
    switch (letter) {
        case 'j':
            selectBeside(choice, shown, 1);
            break;
        case 'k':
            selectBeside(choice, shown, -1);
            break;
        case 't':
            choosePane(choice, LivePane::terminal);
            break;
        case 'e':
            choosePane(choice, LivePane::events);
            break;
        case 'g':
            choosePane(choice, LivePane::goal);
            break;
        case 'd':
            choosePane(choice, LivePane::diff);
            break;
        case 'v':
            choice.isPaneWhole = !choice.isPaneWhole;
            choice.scrolled = 0;
            break;
        case '/':
            choice.filtering = TypedLine{.text = unicodeScalars(choice.filter)};
            choice.filtering->cursor = choice.filtering->text.size();
            break;
        case '?':
            choice.showsHelp = true;
            choice.scrolled = 0;
            break;
        case 'u':
            return LiveWish{.action = LiveAction::unpause};
        case 'q':
            return LiveWish{.action = LiveAction::leave};
        default:
            return selected ? takeBugLetter(letter, snapshot, *selected, choice) : std::nullopt;
    }
    return std::nullopt;
}

/// A bug that was selected may have left the list since it was drawn; no other one takes a key that was meant
/// for it.
bool hasGone(const BugsBySection& listed, LiveChoice& choice, const std::string& letter) {
    const Bugs shown = inOrder(listed);
    const bool isGone =
        !choice.bugID.empty() && std::ranges::find(shown, choice.bugID, &LiveBug::bugID) == shown.end();
    const bool isForIt =
        letter.size() == 1 && std::string_view("acrnoJK").find(letter) != std::string_view::npos;
    if (!isGone || !isForIt) {
        return false;
    }
    choice.message = "Bug " + choice.bugID + " has left the list; select another one.";
    choice.isTrouble = true;
    choice.bugID.clear();
    return true;
}

/// What was begun last.
void leaveOneThing(LiveChoice& choice) {
    if (!std::exchange(choice.isPaneWhole, false)) {
        choice.filter.clear();
    }
}

std::optional<LiveWish> takeMovement(Kind kind, const BugsBySection& listed, LiveChoice& choice) {
    const Bugs shown = inOrder(listed);
    const LiveBug* selected = selectedBug(shown, choice);
    switch (kind) {
        case Kind::up:
        case Kind::down:
            selectBeside(choice, shown, kind == Kind::up ? -1 : 1);
            break;
        case Kind::left:
        case Kind::right:
            choosePaneBeside(choice, selected, kind == Kind::left ? -1 : 1);
            break;
        case Kind::tab:
        case Kind::backTab:
            selectSection(choice, listed, selected, kind == Kind::tab ? 1 : -1);
            break;
        case Kind::home:
        case Kind::end:
            selectBeside(choice, shown, kind == Kind::home ? -std::ssize(shown) : std::ssize(shown));
            break;
        case Kind::pageUp:
        case Kind::pageDown:
            scroll(choice, selected, kind == Kind::pageUp);
            break;
        case Kind::escape:
            leaveOneThing(choice);
            break;
        case Kind::enter:
            return selected ? std::optional(LiveWish{.action = LiveAction::attach, .bugID = selected->bugID})
                            : std::nullopt;
        default:
            break;
    }
    return std::nullopt;
}

}  // namespace

std::string_view nameOf(LivePane pane) {
    constexpr std::array<std::string_view, 4> names{"terminal", "events", "goal", "diff"};
    return names[static_cast<std::size_t>(pane)];
}

bool isReadFromEnd(LivePane pane) {
    return pane == LivePane::terminal || pane == LivePane::events;
}

void tell(LiveChoice& choice, const std::string& sentence, bool isTrouble) {
    if (choice.message == beingDone) {
        choice.message.clear();
    }
    choice.isTrouble = isTrouble || (choice.isTrouble && !choice.message.empty());
    choice.message += (choice.message.empty() ? "" : "\n") + sentence;
    while (std::ranges::count(choice.message, '\n') >= mostTold) {
        choice.message.erase(0, choice.message.find('\n') + 1);
    }
}

std::string TypedLine::utf8() const {
    std::string bytes;
    for (const char32_t character : text) {
        appendUtf8(bytes, character);
    }
    return bytes;
}

const LiveBug* selectedBug(const std::vector<const LiveBug*>& shown, const LiveChoice& choice) {
    const auto found = std::ranges::find(shown, choice.bugID, &LiveBug::bugID);
    return found != shown.end() ? *found : shown.empty() ? nullptr : shown.front();
}

LivePane shownPane(const LiveBug& bug, const LiveChoice& choice) {
    const bool hasTerminal = bug.isFollowed && isRunning(bug.stage);
    return choice.pane.value_or(hasTerminal ? LivePane::terminal : LivePane::events);
}

std::optional<LiveWish> takeKey(const LiveKey& key, const LiveSnapshot& snapshot, LiveChoice& choice) {
    if (choice.awaitsEnter && key.kind != Kind::enter) {
        return std::nullopt;
    }
    choice.message.clear();
    choice.isTrouble = false;
    if (choice.awaitsEnter) {
        choice.awaitsEnter = false;
        return std::nullopt;
    }
    if (choice.question) {
        return takeReply(key, choice);
    }
    if (choice.answering) {
        return takeAnswer(key, choice);
    }
    if (choice.filtering) {
        return takeFilter(key, choice);
    }
    if (choice.showsHelp) {
        takeHelpKey(key, choice);
        return std::nullopt;
    }
    const BugsBySection listed = listedBugs(snapshot, choice.filter);
    if (key.kind != Kind::text) {
        return takeMovement(key.kind, listed, choice);
    }
    const bool isLetter = key.text.size() == 1 && !key.isPasted;
    if (isLetter && hasGone(listed, choice, key.text)) {
        return std::nullopt;
    }
    return isLetter ? takeLetter(key.text.front(), snapshot, choice) : std::nullopt;
}

}  // namespace quernlight::host
