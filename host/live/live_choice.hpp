#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/live/live_snapshot.hpp"

namespace quernlight::host {

/// What the lower part of the view tells of the selected bug.
enum class LivePane : std::uint8_t { terminal, events, goal, diff };

inline constexpr std::array allLivePanes{LivePane::terminal, LivePane::events, LivePane::goal,
                                         LivePane::diff};

std::string_view nameOf(LivePane pane);

/// Whether its last lines are what is shown first.
bool isReadFromEnd(LivePane pane);

/// A line of text that a person types.
struct TypedLine {
    std::u32string text{};
    std::size_t cursor = 0;  ///< in characters

    std::string utf8() const;
};

/// What a person does to a bug, by the service.
enum class LiveAction : std::uint8_t {
    attach,
    answer,
    cancel,
    retry,
    next,
    moveUp,
    moveDown,
    open,
    unpause,
    leave,
};

/// Something to be done, as the keys ask for it.
struct LiveWish {
    LiveAction action{};
    std::string bugID{};
    std::string text{};  ///< the answer; or of a move, the bug that it moves past
    bool isConfirmed = false;

    bool operator==(const LiveWish&) const = default;
};

/// A wish that is done once the person has said yes.
struct LiveQuestion {
    std::string sentence{};
    LiveWish wish{};
};

/// What the person has chosen to see, and is doing. A value, changed by keys alone (see takeKey), and by what
/// an operation has come to.
struct LiveChoice {
    std::string bugID{};             ///< the selected one; empty: the first
    std::optional<LivePane> pane{};  ///< absent: the terminal of a bug that runs, else the events
    std::size_t scrolled = 0;        ///< lines of the pane, from where it begins to be read
    std::size_t paneLines = 10;      ///< that the pane had room for when it was drawn last
    bool isPaneWhole = false;        ///< it has all the room
    std::string filter{};
    bool showsHelp = false;
    bool awaitsEnter = false;              ///< keys before it were meant for an agent whose session has ended
    std::optional<TypedLine> answering{};  ///< to `answered`
    std::string answered{};
    std::optional<TypedLine> filtering{};
    std::optional<LiveQuestion> question{};
    std::string message{};   ///< what an operation has come to
    bool isTrouble = false;  ///< it has not been done
};

/// A sentence until the next key, behind those that were told since the last one; of many the last ones.
void tell(LiveChoice& choice, const std::string& sentence, bool isTrouble);

/// What is told of wishes that are being done.
inline constexpr std::string_view beingDone = "…";

/// The bug that is selected; nullptr when none is shown. When it has gone, the first.
const LiveBug* selectedBug(const std::vector<const LiveBug*>& shown, const LiveChoice& choice);

LivePane shownPane(const LiveBug& bug, const LiveChoice& choice);

/// A key as a person means it.
struct LiveKey {
    enum class Kind : std::uint8_t {
        text,  ///< a character, or a text that was pasted
        enter,
        escape,
        up,
        down,
        left,
        right,
        home,
        end,
        pageUp,
        pageDown,
        tab,
        backTab,
        backspace,
        remove,  ///< Delete
        clear,   ///< Ctrl-U
        redraw,  ///< Ctrl-L
    };

    Kind kind{};
    std::string text{};
    bool isPasted = false;

    bool operator==(const LiveKey&) const = default;
};

/// Makes keys of a terminal's bytes, split anywhere but behind a lone ESC, which is the key of that name.
/// What comes with Alt, ESC and a character at once, is no key.
class LiveKeys {
  public:
    std::vector<LiveKey> read(std::string_view bytes);

  private:
    std::optional<LiveKey> takeKey();
    std::optional<LiveKey> takeEscape();
    std::optional<LiveKey> takeSequence();
    std::optional<LiveKey> takePaste(std::size_t begin);

    std::string unread_;
    bool isWaiting_ = false;  // for the rest of a key
};

/// What the key changes, and what it asks to have done. Pure.
std::optional<LiveWish> takeKey(const LiveKey& key, const LiveSnapshot& snapshot, LiveChoice& choice);

}  // namespace quernlight::host
