#pragma once

#include <optional>
#include <string>

namespace quernlight::standin::codex {

/// Bytes that reached the terminal together, as a paste does, or a single key.
struct Burst {
    std::string bytes;
    /// The reader was busy or was not run for a while, so keys with a pause between them may lie in here side
    /// by side.
    bool late = false;
};

/// The line that is being composed at the prompt. Carriage returns inside a burst belong to the pasted text;
/// only an Enter that arrives by itself submits. "/exit" is so short that its Enter counts at once.
class Composer {
  public:
    /// Adds a burst; returns the text that it submits, if it does. Line ends in the text are line feeds.
    std::optional<std::string> take(const Burst& burst);

    const std::string& draft() const { return draft_; }

  private:
    std::optional<std::string> submit();

    std::string draft_;
};

}  // namespace quernlight::standin::codex
