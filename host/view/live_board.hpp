#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include <boost/asio/any_io_executor.hpp>

#include "host/events/progress_board.hpp"
#include "host/view/background_writer.hpp"
#include "host/view/board_picture.hpp"
#include "host/view/view_terminal.hpp"
#include "quernlight/platform/child_task.hpp"

namespace quernlight::host {

/// The whole state on a terminal, redrawn in place a few times a second: one line per bug, those under way
/// first, a line that sums up, and what holds now and needs a person. Notes and events scroll by above. The
/// picture follows the terminal's size as it is at each drawing. While the terminal takes nothing, or the
/// program is in the background, the picture waits, at most until the end; the lines are kept until then, as
/// far as a bound allows, and those that are not are counted. Ctrl-Z gives the terminal back as it was; the
/// picture is then drawn anew below what the shell has written.
class LiveBoard final : public ProgressBoard {
  public:
    /// `terminal` is the descriptor of the terminal to draw on; `history`: whether events scroll by.
    LiveBoard(const boost::asio::any_io_executor& executor, int terminal, bool history);

    void show(const BugProgress& progress) override;
    void gone(const std::string& bugID) override;
    void note(const std::string& sentence) override;
    void event(const LoggedEvent& logged) override;
    void alert(const std::string& topic, const std::string& sentence) override;
    void close() override;

  private:
    Task<void> redrawRepeatedly();
    Task<void> followJobControl();
    void suspend();
    void resume();
    void drawFromNowOn();
    void draw();
    std::string eraseDrawn() const;
    BoardLine& lineOf(const BugProgress& progress);
    void scroll(const std::string& line);

    const boost::asio::any_io_executor executor_;
    ViewTerminal terminal_;
    BackgroundWriter writer_;
    const bool history_;
    std::string scrolled_;    // lines that are still to go above the picture
    std::size_t unkept_ = 0;  // lines that were to go above those
    BoardState state_;
    std::size_t drawnLines_ = 0;
    std::size_t drawnColumns_ = 0;  // of the terminal, when it was drawn
    std::size_t frame_ = 0;
    std::unique_ptr<ChildTask> redraw_;      // from the first line on, until the board is closed
    std::unique_ptr<ChildTask> jobControl_;  // as long
    bool closed_ = false;
};

}  // namespace quernlight::host
