#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace quernlight::host {

/// How many characters fit on a terminal.
struct TerminalSize {
    int columns = 80, rows = 24;

    bool operator==(const TerminalSize&) const = default;
};

/// Below 80 by 24 an agent leaves out what tells its state; above 1000 by 500 no screen is modelled.
inline constexpr TerminalSize smallestReadable{.columns = 80, .rows = 24};
inline constexpr TerminalSize largestReadable{.columns = 1000, .rows = 500};

/// The size that an agent's terminal gets when `size` is wanted.
inline TerminalSize readableSize(TerminalSize size) {
    return {.columns = std::clamp(size.columns, smallestReadable.columns, largestReadable.columns),
            .rows = std::clamp(size.rows, smallestReadable.rows, largestReadable.rows)};
}

/// What stands on a terminal at one moment. Nothing in its texts acts on a terminal.
struct ScreenPicture {
    int columns = 0, rows = 0;
    std::vector<std::string> lines{};        ///< one a row, UTF-8, trailing blanks cut
    std::vector<std::string> brightLines{};  ///< the same with blanks for what is dim, such as hints
    int cursorRow = 0, cursorColumn = 0;
    bool cursorShown = true;
    bool bracketedPaste = false, alternateScreen = false;
    bool beingDrawn = false;  ///< within a synchronized update: the program has not drawn all of it yet
    std::string title{};
    std::uint64_t bytes = 0;    ///< of output that it is drawn from
    std::uint64_t skipped = 0;  ///< bytes of it that were left out, see SessionScreen
    bool lacksOutput = false;  ///< some were since the screen was last erased, so more may have to stand here

    bool operator==(const ScreenPicture&) const = default;
};

}  // namespace quernlight::host
