#pragma once

#include <memory>
#include <string>

#include "host/screen/screen_model.hpp"
#include "host/terminal/questionless_output.hpp"

namespace quernlight::host {

/// What a person's terminal is told of a session's: its output as it is, or, where the session's is the
/// larger one, as much of its screen as there is room for, with the cursor on it. Returns the bytes to write.
/// Pure.
class ShownSession {
  public:
    explicit ShownSession(TerminalSize own = {}) : own_(own) {}

    /// A picture whose first `scrollBack` bytes are scroll-back. The first comes below what the terminal
    /// showed; a later one over what it shows.
    std::string picture(TerminalSize session, std::size_t scrollBack, std::string_view bytes);

    std::string output(std::string_view bytes);
    std::string sessionResized(TerminalSize session);
    std::string ownResized(TerminalSize own);

    /// Puts the terminal back, with the cursor below what is left of the session.
    std::string undone() const;

  private:
    bool isCropped() const;
    std::string roomAbove() const;
    std::string shownAnew();
    std::string crop();

    TerminalSize own_;
    TerminalSize session_{};
    std::unique_ptr<ScreenModel> model_ = std::make_unique<ScreenModel>(1, 1, 0);
    QuestionlessOutput passed_;
    bool isPainted_ = false;
    bool wasCropped_ = false;
};

}  // namespace quernlight::host
