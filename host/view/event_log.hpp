#pragma once

#include <string>

#include "host/events/dispatch_event.hpp"
#include "host/view/background_writer.hpp"
#include "host/view/bounded_log.hpp"

namespace quernlight::host {

/// Shows people what happens. Used on one executor.
class View {
  public:
    virtual ~View() = default;

    virtual void handle(const DispatchEvent& event) = 0;

    /// No more events; what is on the screen stays.
    virtual void close() = 0;
};

enum class LogFormat {
    text,       ///< for people: time, bug, kind, sentence, ids
    jsonLines,  ///< one JSON object a line
};

/// One line for each event and each note, for files, pipes and log collectors. Nobody waits for who reads it:
/// lines that find no room are left out, and counted in a line of their own once there is some.
class EventLog final : public View {
  public:
    /// Writes to standard output; when that is the file `bounded`, it is kept from growing without end.
    EventLog(LogFormat format, BoundedLog bounded);

    /// Writes to the end of the file, which may be a named pipe, and takes other users' rights to it away.
    /// Throws UserError when it cannot be written.
    EventLog(LogFormat format, const std::string& file);

    void handle(const DispatchEvent& event) override;

    /// Waits a moment until all lines are written.
    void close() override;

  private:
    EventLog(LogFormat format, int descriptor, BackgroundWriter::AfterText afterText = {});

    const LogFormat format_;
    BackgroundWriter writer_;
};

/// Throws UserError when the file could not be written, as far as that can be told without making it: its
/// directory has to be there.
void checkLogFile(const std::string& file);

/// The line for an event or (without bug and kind) a note, no line end.
std::string logLine(LogFormat format, const ItemChanged& logged);

}  // namespace quernlight::host
