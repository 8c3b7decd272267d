#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <string>

namespace quernlight::host {

/// The private modes of a terminal that a program switches with "CSI ? N h" and "CSI ? N l".
class TerminalModes {
  public:
    enum Mode : int {
        origin = 6,
        wrap = 7,
        cursor = 25,
        keypad = 66,
        alternate = 47,
        alternateCleared = 1047,
        savedCursor = 1048,
        alternateSaved = 1049,
        bracketedPaste = 2004,
        synchronized = 2026,
    };

    TerminalModes();

    bool isOn(int mode) const;

    /// Returns whether there is such a mode.
    bool set(int mode, bool isOn);

    const std::map<int, bool>& all() const { return modes_; }

    /// What the terminal answers to a question about a mode: 1 is on, 2 off, 0 not known.
    std::string answerAbout(int mode) const;

  private:
    std::map<int, bool> modes_;
};

/// The two character sets between which a program shifts. Each is the plain one or that of lines and boxes
/// (DEC Special Graphics).
class CharacterSets {
  public:
    /// "ESC ( F" and "ESC ) F" choose a set.
    void choose(char set, char final);
    void shift(std::size_t shown) { shown_ = shown; }

    /// The bytes that choose the same.
    std::string sequence() const;

    /// What a character is drawn as.
    char32_t drawn(char32_t character) const;

  private:
    std::array<bool, 2> isLineDrawing_{};
    std::size_t shown_ = 0;
};

}  // namespace quernlight::host
