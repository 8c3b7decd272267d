#include "host/session/goal_typist.hpp"

#include <chrono>
#include <optional>
#include <system_error>
#include <utility>

#include "quernlight/runner/runner_error.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::milliseconds lookInterval{100};
constexpr int mostLooksAtUnfinishedPictures = 10;
constexpr std::chrono::seconds pauseBeforeStoring{1};

class GoalTypist {
  public:
    explicit GoalTypist(GoalTyping typing)
        : typing_(std::move(typing)),
          keys_(goalKeys(typing_.goal)),
          delivery_(keys_, typing_.dialogs, typing_.clock.steadyNow()) {}

    Task<void> run() {
        while (typing_.isWanted() && !isDone_) {
            if (typing_.isPersonTyping()) {
                delivery_.held(typing_.clock.steadyNow());
            } else {
                co_await takeStep();
            }
            co_await typing_.clock.sleepFor(lookInterval);
        }
    }

  private:
    /// What takes its time comes first, so that the step is decided on the screen as it is now.
    Task<void> takeStep() {
        AgentSight seen;
        if (delivery_.wantsRecord()) {
            seen.record = co_await typing_.findRecord(keys_.objective);
        }
        seen.screen = co_await look();
        if (typing_.isPersonTyping()) {  // since then; from here to the keys nothing is waited for
            co_return delivery_.held(typing_.clock.steadyNow());
        }
        DeliveryStep step = delivery_.next(seen, typing_.clock.steadyNow());
        Task<void> doing =
            std::visit([this](auto known) { return this->take(std::move(known)); }, std::move(step));
        co_await std::move(doing);
    }

    /// Waits for a picture that shows all the agent has written, and not only half of it, but not for ever:
    /// some agent may never finish one, and of a screen that stays behind nothing is known.
    Task<AgentReading> look() {
        auto picture = typing_.screen.pictureOfAll();
        for (int looks = 0; looks < mostLooksAtUnfinishedPictures && (!picture || picture->beingDrawn);
             ++looks) {
            co_await typing_.clock.sleepFor(lookInterval);
            picture = typing_.screen.pictureOfAll();
        }
        co_return picture ? readAgent(*picture) : unknownReading(typing_.screen.lacksOutput());
    }

    static Task<void> take(KeepLooking) { co_return; }

    /// Holds nothing up when it cannot be stored.
    Task<void> take(TellWait waiting) {
        const auto trouble = co_await troubleToStore(EventKind::awaitingComposer, waiting.sentence);
        if (trouble) {
            typing_.onTrouble(*trouble);
        }
    }

    Task<void> take(TypeKeys typed) {
        if (typed.areFirst) {
            co_await storeTyping();
            const AgentReading screen = co_await look();
            if (!screen.isComposerEmpty()) {
                delivery_.startAgain(typing_.clock.steadyNow());
                co_return;
            }
        }
        if (!typing_.isWanted()) {
            co_return;
        }
        if (typed.areFirst && typing_.isPersonTyping()) {
            co_return delivery_.startAgain(typing_.clock.steadyNow());
        }
        if (typed.areFirst) {
            typing_.mailbox.deliver(GoalTypingBegins{});
        }
        const auto trouble = co_await send(std::move(typed.keys));
        delivery_.sent(typing_.clock.steadyNow());
        if (trouble) {
            end(GoalRefused{.reason = "The terminal takes no keys: " + *trouble + "."});
        } else if (typed.areLast) {
            typing_.mailbox.deliver(GoalTyped{});
        }
    }
    Task<void> take(GoalAccepted accepted) {
        end(accepted);
        co_return;
    }
    Task<void> take(GoalRefused refused) {
        end(std::move(refused));
        co_return;
    }

    void end(SessionEvent how) {
        isDone_ = true;
        typing_.mailbox.deliver(std::move(how));
    }

    /// Why the terminal did not take them. An agent that has exited is told by its exit.
    Task<std::optional<std::string>> send(std::string keys) {
        try {
            co_await typing_.runner.sendInput(std::move(keys), typing_.sessionID);
        } catch (const RunnerError&) {
            isDone_ = true;
        } catch (const PTYProcessError&) {
            isDone_ = true;
        } catch (const std::system_error& error) {
            co_return error.code().message();
        }
        co_return std::nullopt;
    }

    Task<void> storeTyping() {
        while (typing_.isWanted()) {
            const auto trouble = co_await troubleToStore(EventKind::typing, "Typing the goal.");
            if (!trouble) {
                co_return;
            }
            typing_.onTrouble(*trouble);
            co_await typing_.clock.sleepFor(pauseBeforeStoring);
        }
    }
    Task<std::optional<DatabaseError>> troubleToStore(EventKind kind, std::string message) {
        ItemEvent event{.itemID = typing_.itemID,
                        .kind = kind,
                        .message = std::move(message),
                        .sessionID = typing_.sessionID};
        try {
            co_await appendEvent(typing_.items, std::move(event));
        } catch (const DatabaseError& error) {
            co_return error;
        }
        co_return std::nullopt;
    }

    const GoalTyping typing_;
    const GoalKeys keys_;
    GoalDelivery delivery_;
    bool isDone_ = false;
};

}  // namespace

Task<void> typeGoal(GoalTyping typing) {
    GoalTypist typist(std::move(typing));
    co_await typist.run();
}

}  // namespace quernlight::host
