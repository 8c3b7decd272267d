#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quernlight::standin::codex {

/// Bytes that reached the terminal together, as a paste does, or a single key.
struct Burst {
    std::string bytes;
    /// The reader was busy or was not run for a while, so keys with a pause between them may lie in here side
    /// by side.
    bool late = false;
};

/// The text that is being composed at the prompt. Carriage returns inside a bracketed paste or a burst belong
/// to the pasted text; only an Enter that arrives by itself, or right behind a bracketed paste, submits. A
/// long burst of keys is shown as a mark, a bracketed paste as it is.
class Composer {
  public:
    /// Adds a burst; returns the text that it submits, if it does. Line ends in the text are line feeds.
    std::optional<std::string> take(const Burst& burst);

    const std::string& draft() const { return draft_; }

    /// The draft as it is shown.
    const std::string& shown() const { return shown_; }

  private:
    std::optional<std::string> takeKeys(std::string_view keys, bool late);
    void add(std::string_view text, bool isShown);
    std::optional<std::string> submit();

    std::string draft_;
    std::string shown_;
    bool isInPaste_ = false;
};

}  // namespace quernlight::standin::codex
