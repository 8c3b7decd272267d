#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quernlight::standin::codex {

/// The text that is being composed at the prompt. Carriage returns inside a bracketed paste belong to its
/// text, and an Enter that arrives by itself, or right behind a bracketed paste, submits. In a burst of other
/// keys, bytes that reach the terminal together, they mean what a released agent may take them for by bad
/// luck: the first one submits what stands before it, so that a text which is no paste goes off in part, and
/// one at its end does not submit. A long burst or paste is shown as a mark.
class Composer {
  public:
    /// Adds a burst; returns the first text that it submits, if it does. Line ends in the text are line
    /// feeds.
    std::optional<std::string> take(std::string_view burst);

    const std::string& draft() const { return draft_; }

    /// The draft as it is shown.
    const std::string& shown() const { return shown_; }

  private:
    void takeKeys(std::string_view keys, std::optional<std::string>& submitted);
    void add(std::string_view text, std::size_t longestShown);
    std::optional<std::string> submit();

    std::string draft_;
    std::string shown_;
    std::string pasted_;  ///< of a paste that has not ended yet
    bool isInPaste_ = false;
};

}  // namespace quernlight::standin::codex
