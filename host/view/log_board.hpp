#pragma once

#include <string>

#include "host/events/progress_board.hpp"
#include "host/view/background_writer.hpp"

namespace quernlight::host {

enum class LogFormat {
    text,       ///< for people: time, bug, kind, sentence, ids
    jsonLines,  ///< one JSON object a line
};

/// One line for each event and each note, for files, pipes and log collectors. Nobody waits for who reads it:
/// lines that find no room are left out, and counted in a line of their own once there is some.
class LogBoard final : public ProgressBoard {
  public:
    /// Writes to standard output.
    explicit LogBoard(LogFormat format);

    /// Writes to the end of the file, which may be a named pipe, and takes other users' rights to it away.
    /// Throws UserError when it cannot be written.
    LogBoard(LogFormat format, const std::string& file);

    void show(const BugProgress&) override {}  // its events tell
    void note(const std::string& sentence) override;
    void event(const LoggedEvent& logged) override;

    /// Waits a moment until all lines are written.
    void close() override;

  private:
    LogBoard(LogFormat format, int descriptor);

    const LogFormat format_;
    BackgroundWriter writer_;
};

/// The line for an event or (without bug and kind) a note, no line end.
std::string logLine(LogFormat format, const LoggedEvent& logged);

}  // namespace quernlight::host
