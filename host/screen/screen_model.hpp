#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/screen/screen_grid.hpp"
#include "host/screen/screen_painting.hpp"
#include "host/screen/screen_picture.hpp"
#include "host/screen/terminal_modes.hpp"
#include "host/screen/terminal_parser.hpp"

namespace quernlight::host {

/// The model of one terminal: what a program writes goes in, split anywhere; the picture and the answers to
/// what the program asked come out. Its memory is bounded, whatever is written. One thread at a time.
class ScreenModel final : private TerminalActions {
  public:
    static constexpr TerminalSize largest = largestReadable;
    static constexpr std::size_t mostAnswerBytes = 4096;  ///< more than these that nobody took are left out

    /// A size is brought between 1 by 1 and `largest`. `scrollBack`: how many lines are kept.
    ScreenModel(int columns, int rows, std::size_t scrollBack = 5000);
    ScreenModel(const ScreenModel&) = delete;
    ScreenModel& operator=(const ScreenModel&) = delete;

    void write(std::string_view bytes);

    /// Any size, see `readableSize`. Lines are cut, not wrapped anew, and none comes back from the
    /// scroll-back: programs draw again when their terminal's size changes.
    void resize(int columns, int rows);

    /// That so many bytes of output were left out here: what they would have changed is not known.
    void skip(std::uint64_t bytes);

    ScreenPicture picture() const;

    /// The same for another terminal.
    ScreenPainting painting() const;

    /// As much of the screen as a smaller terminal has room for, as bytes that paint it over what that shows.
    std::string cropped(TerminalSize size) const { return host::cropped(parts(), size); }

    /// The lines that scrolled off the top, oldest first.
    std::vector<std::string> scrollBack() const;

    /// What the terminal answers to questions in what was written. Taken out.
    std::string takeAnswers();

  private:
    using Sequence = ControlSequence;

    // TerminalActions
    void print(char32_t character) override;
    void control(char character) override;
    void escape(char intermediate, char final) override;
    void controlSequence(const Sequence& sequence) override;
    void operatingSystemCommand(std::string_view text, std::string_view end) override;

    void applyPlain(const Sequence& sequence);
    void applyPrivate(const Sequence& sequence);
    void repeat(int count);
    void keepTitle(const Sequence& sequence);
    void saveCursor();
    void restoreCursor();
    void noteErasure(const Sequence& sequence);
    void resetStyle();
    void reset();
    void setMode(int mode, bool isOn);
    void showAlternate(bool isOn);
    void answer(std::string_view text);
    void setStyle(const CellStyle& style);
    void keepUnfinished(std::string_view bytes);
    std::string paintedScrollBack() const;
    PaintedScreen parts() const;
    ScreenGrid& grid() { return isAlternate_ ? alternate_ : main_; }
    const ScreenGrid& grid() const { return isAlternate_ ? alternate_ : main_; }

    std::size_t scrollBackLines_;
    std::deque<std::string> scrolledOff_;  // painted rows
    ScreenGrid main_, alternate_;
    bool isAlternate_ = false;
    TerminalParser parser_;
    TerminalModes modes_;
    ScreenGrid::Style style_;
    CharacterSets sets_;
    std::map<bool, SavedCursor> saved_;  // one a screen
    char32_t lastPrinted_ = 0;           // 0 when something else came since
    std::string title_;
    std::vector<std::string> keptTitles_;
    std::string answers_;
    std::string unfinished_;  // what was written of a piece that has not ended
    std::uint64_t bytes_ = 0, skipped_ = 0;
    std::set<bool> lacksOutput_;  // the screens, by whether it is the alternate one, see ScreenPicture
};

}  // namespace quernlight::host
