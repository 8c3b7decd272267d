#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include <boost/asio/any_io_executor.hpp>

#include "host/view/background_writer.hpp"
#include "host/view/event_log.hpp"
#include "host/view/picture.hpp"
#include "host/view/view_terminal.hpp"
#include "quernlight/platform/child_task.hpp"

namespace quernlight::host {

/// The whole state on a terminal, redrawn in place a few times a second: one line per bug, those that run
/// first, a line that sums up, and what holds now and needs a person. Notes and events scroll by above. The
/// picture follows the terminal's size as it is at each drawing. While the terminal takes nothing, or the
/// program is in the background, the picture waits, at most until the end; the lines are kept until then, as
/// far as a bound allows, and those that are not are counted. Ctrl-Z gives the terminal back as it was; the
/// picture is then drawn anew below what the shell has written.
class LiveView final : public View {
  public:
    /// `terminal` is the descriptor of the terminal to draw on; `history`: whether events scroll by.
    LiveView(const boost::asio::any_io_executor& executor, int terminal, bool history, bool coloured = true);

    void handle(const DispatchEvent& event) override;
    void close() override;

  private:
    void take(const ItemChanged& changed);
    void take(const ItemRemoved& removed);
    void take(const StageChanged& changed);
    void take(const DetailChanged& changed);
    void take(const AlertRaised& raised);
    void take(const AlertCleared& cleared);
    void take(const SettingChanged& changed);
    void take(const Notice& notice);
    Task<void> redrawRepeatedly();
    Task<void> followJobControl();
    void suspend();
    void resume();
    void drawFromNowOn();
    void draw();
    std::string eraseDrawn() const;
    ViewLine& lineOf(const BugProgress& progress);
    void scroll(const std::string& line);

    const boost::asio::any_io_executor executor_;
    ViewTerminal terminal_;
    BackgroundWriter writer_;
    const bool history_;
    const bool coloured_;
    std::string scrolled_;    // lines that are still to go above the picture
    std::size_t unkept_ = 0;  // lines that were to go above those
    ViewState state_;
    std::size_t drawnLines_ = 0;
    std::size_t drawnColumns_ = 0;  // of the terminal, when it was drawn
    std::size_t frame_ = 0;
    std::unique_ptr<ChildTask> redraw_;      // from the first line on, until the view is closed
    std::unique_ptr<ChildTask> jobControl_;  // as long
    bool closed_ = false;
};

}  // namespace quernlight::host
