#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <boost/asio/any_io_executor.hpp>

#include "host/progress_board.hpp"
#include "quernlight/platform/child_task.hpp"
#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::host {

/// The whole state on a terminal, redrawn in place a few times a second: one line per bug, those under way
/// first, a line that sums up, and what holds now and needs a person. Notes and events scroll by above. The
/// picture follows the terminal's size as it is at each drawing. A terminal that takes nothing (Ctrl-S) holds
/// nobody up: the picture is drawn when it takes something again, and the lines are kept until then.
class LiveBoard final : public ProgressBoard {
  public:
    /// `terminal` is the descriptor of the terminal to draw on; `history`: whether events scroll by.
    LiveBoard(const boost::asio::any_io_executor& executor, int terminal, bool history);

    void show(const BugProgress& progress) override;
    void gone(const std::string& bugID) override;
    void note(const std::string& sentence) override;
    void event(const LoggedEvent& logged) override;
    void condition(const std::string& topic, const std::string& sentence) override;
    void close() override;

  private:
    struct Line {
        BugProgress progress;
        Instant since{};  // of the stage that it is in
    };

    Task<void> redrawRepeatedly();
    void drawFromNowOn();
    void draw();
    std::vector<std::string> picture(std::size_t columns, std::size_t rows) const;
    std::vector<const Line*> linesInOrder() const;
    std::string textOf(const Line& line, std::size_t width) const;
    std::string summary() const;
    std::string eraseDrawn() const;
    Line& lineOf(const BugProgress& progress);
    void scroll(const std::string& line);
    bool flush();

    const boost::asio::any_io_executor executor_;
    const FileDescriptor ownTerminal_;  // the same terminal, opened anew so that writing to it never waits
    const int terminal_;
    const bool history_;
    std::string scrolled_;   // lines that are still to go above the picture
    std::string unwritten_;  // what the terminal has not taken yet
    std::vector<Line> lines_;
    std::map<std::string, std::string> conditions_;  // by topic; only those that hold
    std::size_t drawnLines_ = 0;
    std::size_t drawnColumns_ = 0;  // of the terminal, when it was drawn
    std::size_t frame_ = 0;
    std::unique_ptr<ChildTask> redraw_;  // from the first line on, until the board is closed
    bool closed_ = false;
};

}  // namespace quernlight::host
