#include "host/worktree/git_slots.hpp"

#include <deque>
#include <utility>

#include "quernlight/platform/async_signal.hpp"

namespace quernlight::host {

class GitSlots::Turns {
    struct Waiting {
        AsyncSignal turn{};
        bool hasTurn = false;
    };

  public:
    explicit Turns(std::size_t most) : free_(most) {}

    static Task<GitCommandResult> run(std::shared_ptr<Turns> turns, GitRunner git,
                                      std::vector<std::string> arguments) {
        co_await turns->take();
        const std::shared_ptr<void> atEnd(nullptr, [turns](void*) { turns->leave(); });
        co_return co_await git(std::move(arguments));
    }

  private:
    Task<void> take() {
        if (free_ > 0) {
            --free_;
            co_return;
        }
        const auto waiting = std::make_shared<Waiting>();
        waiting_.push_back(waiting);
        try {
            while (!waiting->hasTurn) {
                co_await waiting->turn.wait();
            }
        } catch (...) {
            giveUp(waiting);
            throw;
        }
    }

    /// The turn goes to the one who waits longest.
    void leave() {
        if (waiting_.empty()) {
            ++free_;
            return;
        }
        const auto next = waiting_.front();
        waiting_.pop_front();
        next->hasTurn = true;
        next->turn.notify();
    }

    /// One that was cancelled may have been given its turn a moment before.
    void giveUp(const std::shared_ptr<Waiting>& waiting) {
        if (waiting->hasTurn) {
            leave();
        } else {
            std::erase(waiting_, waiting);
        }
    }

    std::size_t free_;
    std::deque<std::shared_ptr<Waiting>> waiting_;
};

GitSlots::GitSlots(std::size_t most) : turns_(std::make_shared<Turns>(most)) {}

GitRunner GitSlots::inTurn(GitRunner run) {
    return [turns = turns_, run = std::move(run)](std::vector<std::string> arguments) {
        return Turns::run(turns, run, std::move(arguments));
    };
}

}  // namespace quernlight::host
