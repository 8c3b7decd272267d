#pragma once

#include <future>
#include <optional>
#include <string>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include "host/agent/agent_run.hpp"
#include "tests/host/fake_codex_runner.hpp"
#include "tests/host/services_fixture.hpp"
#include "tests/host/stepped_clock.hpp"

namespace quernlight::host::test {

/// A launched agent with an empty composer, whose screen is drawn late when the test says so.
class AgentScreenFixture : public ServicesFixture {
  protected:
    AgentScreenFixture() {
        run(launch.start(tasks, {.sessionID = sessionID, .columns = 120, .rows = 40}));
        agent.write("\x1b[?2004h\x1b]0;shop\x07");
        agent.showAgain();
        settle();
    }
    ~AgentScreenFixture() override {
        drawAgain();
        run(tasks.end());
    }

    /// From now on nothing of what the agent writes is drawn.
    void stopDrawing() {
        release.emplace();
        auto wait = [released = release->get_future().share()] {
            released.wait();
            return true;
        };
        boost::asio::co_spawn(io, drawing.run(std::move(wait)), boost::asio::detached);
        settle();
    }
    void drawAgain() {
        if (release) {
            std::exchange(release, std::nullopt)->set_value();
        }
        settle();
    }
    void askInstead() {
        agent.showInstead("May I run it?\n\n\u203A 1. Yes, proceed\n  2. No");
        settle();
    }
    void advance(std::chrono::nanoseconds duration) { time.advance(duration); }

    /// Nothing is left to do before the time goes on: not here, nor on the threads of database and screens.
    void settle() {
        do {
            poll();
            quernlight::test::runTask(store.database->query("SELECT 1"));  // on a loop of its own
            if (!release) {
                quernlight::test::runTask(drawing.run([] { return true; }));
            }
        } while (poll() > 0);
    }

    const Uuid bug = enqueue("3f2a9c1d").id;
    const Uuid sessionID = randomUuid();
    SteppedClock time{[this] { settle(); }};
    ReadyPrompts prompts{io.get_executor()};
    FakeCodexRunner agent{prompts, time};
    AgentRun launch{agent, drawing, time, sessionID, "bug 3f2a9c1d"};
    TaskSet tasks{io.get_executor(), [](const std::string&, const std::exception_ptr&) {}};

  private:
    std::size_t poll() {
        io.restart();
        return io.poll();
    }

    std::optional<std::promise<void>> release;  // of the thread that draws, while it is held
};

}  // namespace quernlight::host::test
