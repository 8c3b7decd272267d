#include "host/session/goal_typist.hpp"

#include <chrono>
#include <optional>
#include <system_error>
#include <utility>

#include "quernlight/runner/runner_error.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::milliseconds lookInterval{100};
constexpr int mostLooksAtHalfPictures = 10;
constexpr std::chrono::seconds pauseBeforeStoring{1};

class GoalTypist {
  public:
    explicit GoalTypist(GoalTyping typing)
        : typing_(std::move(typing)),
          keys_(goalKeys(typing_.goal)),
          delivery_(keys_, typing_.answersDialogs, typing_.clock.steadyNow()) {}

    Task<void> run() {
        while (typing_.isWanted() && !isDone_) {
            const auto picture = typing_.screen.picture();
            if (!picture->beingDrawn || ++looksAtHalfPictures_ > mostLooksAtHalfPictures) {
                co_await takeStep(*picture);
            }
            co_await typing_.clock.sleepFor(lookInterval);
        }
    }

  private:
    Task<void> takeStep(const ScreenPicture& picture) {
        looksAtHalfPictures_ = 0;
        AgentSight seen{.screen = readAgent(picture)};
        if (delivery_.wantsRecord()) {
            seen.record = co_await typing_.findRecord(keys_.objective);
        }
        DeliveryStep step = delivery_.next(seen, typing_.clock.steadyNow());
        Task<void> doing = std::visit([this](auto known) { return take(std::move(known)); }, std::move(step));
        co_await std::move(doing);
    }

    static Task<void> take(KeepLooking) { co_return; }

    Task<void> take(TypeKeys typed) {
        if (typed.areFirst) {
            co_await storeTyping();
            if (!readAgent(*typing_.screen.picture()).isComposerEmpty()) {
                delivery_.startAgain(typing_.clock.steadyNow());
                co_return;
            }
        }
        if (!typing_.isWanted()) {
            co_return;
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
            const auto trouble = co_await troubleToStore();
            if (!trouble) {
                co_return typing_.mailbox.deliver(GoalTypingBegins{});
            }
            typing_.onTrouble(*trouble);
            co_await typing_.clock.sleepFor(pauseBeforeStoring);
        }
    }
    Task<std::optional<DatabaseError>> troubleToStore() {
        ItemEvent event{.itemID = typing_.itemID,
                        .kind = EventKind::typing,
                        .message = "Typing the goal.",
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
    int looksAtHalfPictures_ = 0;  // in a row
    bool isDone_ = false;
};

}  // namespace

Task<void> typeGoal(GoalTyping typing) {
    GoalTypist typist(std::move(typing));
    co_await typist.run();
}

}  // namespace quernlight::host
