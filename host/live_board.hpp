#pragma once

#include <memory>
#include <string>

#include <boost/asio/any_io_executor.hpp>

#include "host/board_picture.hpp"
#include "host/progress_board.hpp"
#include "host/terminal_output.hpp"
#include "quernlight/platform/child_task.hpp"

namespace quernlight::host {

/// The whole state on a terminal, redrawn in place a few times a second: one line per bug, those under way
/// first, a line that sums up, and what holds now and needs a person. Notes and events scroll by above. The
/// picture follows the terminal's size as it is at each drawing. While the terminal takes nothing the picture
/// waits, and the lines are kept until then.
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
    Task<void> redrawRepeatedly();
    void drawFromNowOn();
    void draw();
    std::string eraseDrawn() const;
    BoardLine& lineOf(const BugProgress& progress);
    void scroll(const std::string& line);

    const boost::asio::any_io_executor executor_;
    TerminalOutput terminal_;
    const bool history_;
    std::string scrolled_;  // lines that are still to go above the picture
    BoardState state_;
    std::size_t drawnLines_ = 0;
    std::size_t drawnColumns_ = 0;  // of the terminal, when it was drawn
    std::size_t frame_ = 0;
    std::unique_ptr<ChildTask> redraw_;  // from the first line on, until the board is closed
    bool closed_ = false;
};

}  // namespace quernlight::host
