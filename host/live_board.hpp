#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <boost/asio/any_io_executor.hpp>

#include "host/progress_board.hpp"
#include "quernlight/platform/child_task.hpp"

namespace quernlight::host {

/// One line per bug on a terminal, redrawn in place a few times a second; notes scroll by above. The lines
/// follow the terminal's width as it is at each drawing.
class LiveBoard final : public ProgressBoard {
  public:
    /// `terminal` is the descriptor of the terminal to draw on.
    LiveBoard(const boost::asio::any_io_executor& executor, int terminal);

    void show(const BugProgress& progress) override;
    void note(const std::string& sentence) override;
    void close() override;

  private:
    struct Line {
        BugProgress progress;
        Instant since{};  // of the first session stage
        std::chrono::seconds took{};
    };

    Task<void> redrawRepeatedly();
    void draw();
    void keepTime();
    std::vector<const Line*> linesThatFit(std::size_t room) const;
    std::string eraseDrawn() const;
    std::string textOf(const Line& line, std::size_t width) const;
    Line& lineOf(const BugProgress& progress);
    void write(const std::string& text) const;

    const boost::asio::any_io_executor executor_;
    const int terminal_;
    std::vector<Line> lines_;
    std::size_t drawnLines_ = 0;
    std::size_t frame_ = 0;
    std::unique_ptr<ChildTask> redraw_;  // from the first line on, until the board is closed
    bool closed_ = false;
};

}  // namespace quernlight::host
