#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "host/progress_board.hpp"

namespace spdlog {
class logger;
}

namespace quernlight::host {

enum class LogFormat {
    text,       ///< for people: time, bug, kind, sentence, ids
    jsonLines,  ///< one JSON object a line
};

/// One line for each event and each note, for files, pipes and log collectors.
class LogBoard final : public ProgressBoard {
  public:
    /// Writes to standard output.
    explicit LogBoard(LogFormat format);

    /// Writes to the file's end. Throws UserError when it cannot be written.
    LogBoard(LogFormat format, const std::string& file);
    ~LogBoard() override;

    void show(const BugProgress&) override {}  // its events tell
    void note(const std::string& sentence) override;
    void event(const LoggedEvent& logged) override;

  private:
    const LogFormat format_;
    const std::unique_ptr<spdlog::logger> logger_;
};

/// The line for an event or (without bug and kind) a note, no line end.
std::string logLine(LogFormat format, const LoggedEvent& logged);

}  // namespace quernlight::host
