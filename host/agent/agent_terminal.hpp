#pragma once

#include <chrono>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/agent/redraw.hpp"
#include "host/agent/size_choice.hpp"
#include "host/process/clock.hpp"
#include "host/screen/session_screen.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/runner/codex_runner.hpp"

namespace quernlight::host {

/// An agent's terminal for those who look at it and type into it beside its session: its output as it comes,
/// a painting of it, keys, its size. Shared by the session, which ends it, and by those who are attached.
/// Used on one executor.
class AgentTerminal {
  public:
    class Listener {
      public:
        virtual ~Listener() = default;

        /// The agent has written; `first` is the number of the first byte in all that it wrote.
        virtual void wrote(std::uint64_t first, std::string_view bytes) = 0;

        /// The terminal's size has changed, or it has ended.
        virtual void changed() = 0;
    };

    /// For so long after a key nothing else types.
    static constexpr std::chrono::seconds untilAPersonRests{5};

    /// Runner and clock outlive it.
    AgentTerminal(CodexRunner& runner, Clock& clock, Uuid sessionID, std::shared_ptr<SessionScreen> screen,
                  TerminalSize size);

    // For the session
    void write(std::string_view bytes);
    void end(std::optional<int> exitCode);
    /// Gives the pseudo-terminal the size that is chosen, until it is cancelled.
    Task<void> followSize();
    /// Has the agent draw its screen anew whenever output was left out of it, until it is cancelled.
    Task<void> keepWhole();
    /// There is a new picture.
    void drawn() { drawn_.notify(); }

    /// Whether somebody typed just now, between whose keys nothing must come.
    bool isPersonTyping() const;

    // For those who are attached
    using Subscription = std::shared_ptr<void>;
    /// The listener is told until the subscription goes, which this outlives.
    [[nodiscard]] Subscription listen(Listener& listener);

    bool hasEnded() const { return hasEnded_; }
    std::optional<int> exitCode() const { return exitCode_; }

    /// How many bytes the agent has written.
    std::uint64_t bytes() const { return screen_->fedBytes(); }
    bool takesPastes() const { return screen_->picture()->bracketedPaste; }

    /// Of what is drawn of them so far.
    Task<ScreenPainting> painting() { return screen_->painting(); }

    /// Returns when the terminal has taken the text, in which a line feed is Enter; whether it has.
    Task<bool> type(std::string text);

    /// The same of a person's keys as they are, a line feed (Ctrl-J) included.
    Task<bool> typeKeys(std::string keys);

    SizeChoice::Client newClient() { return ++clients_; }
    const SizeChoice& sizes() const { return sizes_; }
    TerminalSize size() const { return size_; }

    // What changes who sets the size, or to what
    void clientSized(SizeChoice::Client client, TerminalSize size);
    void clientTyped(SizeChoice::Client client);
    void clientLeft(SizeChoice::Client client);

  private:
    Task<bool> typed(Task<void> sending);
    void applySize();
    void askForRedraw();
    void giveSize();
    void tellListeners();

    CodexRunner& runner_;
    Clock& clock_;
    const Uuid sessionID_;
    const std::shared_ptr<SessionScreen> screen_;
    TerminalSize size_;
    TerminalSize given_;  // to the pseudo-terminal; another for a moment, see Redraw
    AsyncSignal resized_;
    AsyncSignal drawn_;
    Redraw redraw_;
    std::list<Listener*> listeners_;
    SizeChoice sizes_;
    SizeChoice::Client clients_ = 0;
    std::optional<Clock::TimePoint> typedAt_;
    bool hasEnded_ = false;
    std::optional<int> exitCode_;
};

}  // namespace quernlight::host
