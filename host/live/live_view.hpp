#pragma once

#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/any_io_executor.hpp>

#include "host/live/live_actions.hpp"
#include "host/live/live_look.hpp"
#include "host/process/task_set.hpp"
#include "host/terminal/own_terminal.hpp"
#include "quernlight/platform/async_signal.hpp"
#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::host {

/// The live view on a terminal: looks at the service when something happens, draws what has changed, and has
/// the service do what keys ask for, of several bugs at once. It waits for the terminal as long as that takes
/// nothing, and holds up nobody. The terminal is its own only while it is in the foreground, and is put back
/// whenever it is not: while a person is attached to an agent's, after Ctrl-Z, and in the end. Used on one
/// executor.
class LiveView {
  public:
    struct Uses {
        DispatchService& service;
        Clock& clock;
        std::filesystem::path home{};
        std::string device{};  ///< of the terminal
        bool isColoured = true;
        /// Stops the dispatcher of which this is the own view; empty: leaving is only that.
        std::function<void()> stop{};
    };

    LiveView(const boost::asio::any_io_executor& executor, Uses uses);

    /// Until the person leaves. Cancelled, it ends with `operation_aborted`; the terminal is put back by
    /// then.
    Task<void> run();

    /// Looks at the service once. What fails is shown.
    Task<void> look();

    /// Something has happened: looks again soon.
    void lookSoon() { news_.notify(); }

    /// Shows a sentence until the next key.
    void tell(const std::string& sentence);

    /// How these lines are made that stay on the terminal, below what the shell shows, when this has ended.
    void leaveBehind(std::function<std::vector<std::string>()> lines) { left_ = std::move(lines); }

    /// The bugs, as they were seen last.
    std::vector<std::string> lastLines() const { return lastPicture(snapshot_, frame()); }

  private:
    enum class Aside : std::uint8_t { none, attached, suspended };

    Task<void> show();
    Task<void> takeTerminal();
    Task<void> lookRepeatedly();
    Task<void> lookAtWhatRuns();
    Task<void> readPanes();
    Task<void> paint();
    Task<void> readKeys();
    Task<void> followSize();
    Task<void> followJobControl();
    Task<void> doWishesFor(std::string bugID);
    void told(LiveOutcome outcome);
    bool isPaneKept(const LiveBug& bug) const;
    Task<void> attachTo(std::string bugID);
    void take(LiveWish wish);
    void begin(LiveWish wish);
    void take(const DispatchEvent& event);
    void leave(const LiveWish& wish);
    void keepSelected();
    void tellOwner(bool wasKnown, bool wasOwned);
    std::string undone() const;
    const LiveBug* selected() const;
    bool turns() const;
    bool isThere() const;
    LiveFrame frame() const;

    const boost::asio::any_io_executor executor_;
    const Uses uses_;
    const FileDescriptor device_;  // that terminal, whatever has its name later
    LiveLook look_;
    std::function<std::vector<std::string>()> left_;
    LiveSnapshot snapshot_;
    LiveChoice choice_;
    PaneText pane_;
    std::chrono::steady_clock::time_point paneReadAt_{};
    LivePicture shown_;
    TerminalSize size_;
    std::map<std::string, std::deque<LiveWish>> wishes_;  // by bug, as long as one of its is being done
    std::string attached_;                                // the bug
    Aside aside_ = Aside::none;
    bool isLeaving_ = false;
    bool hasEnded_ = false;
    bool hasNewLines_ = false;  // of agents, since the last look
    AsyncSignal changed_, news_, paneWanted_;
    AsyncSignal next_;                       // what the terminal is used for has changed
    AsyncSignal putAside_;                   // it is the shell's
    std::unique_ptr<OwnTerminal> terminal_;  // while it is this view's
    TaskSet tasks_;                          // as long as the view
    TaskSet shownTasks_;                     // as long as the terminal is this view's
};

}  // namespace quernlight::host
