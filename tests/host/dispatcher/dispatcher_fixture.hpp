#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/dispatcher/dispatcher.hpp"
#include "host/process/caught_exception.hpp"
#include "tests/host/services_fixture.hpp"
#include "tests/host/stepped_clock.hpp"

namespace quernlight::host::test {

/// What the sessions of a test have in common.
struct SessionScript {
    std::vector<std::string> started{};                    // bugs, in the order of their starts
    std::vector<std::string> told{};                       // "BUG stop", "BUG kill"
    std::map<std::string, AsyncSignal> ending{};           // by bug; told when its session is to end
    std::map<std::string, std::exception_ptr> failures{};  // by bug; what its session then throws
    std::size_t stored = 0;                                // starts that the queue knows of
    int running = 0;
    int mostRunning = 0;
};

/// A session without an agent: it runs until the test ends it, and its bug then has failed.
class ScriptedSession final : public Session {
  public:
    ScriptedSession(SessionServices& services, SessionScript& script, BugQueueItem item)
        : services_(services), script_(script), item_(std::move(item)), atRise_(services.stop.onRise([this] {
              script_.told.push_back(item_.bugID + (services_.stop.isKilling() ? " kill" : " stop"));
          })) {}

    Task<void> run() override {
        const AsyncSignal ending = script_.ending[item_.bugID];
        script_.started.push_back(item_.bugID);
        script_.mostRunning = std::max(script_.mostRunning, ++script_.running);
        co_await services_.manager.markStarting(item_.id, randomUuid());
        ++script_.stored;
        co_await ending.wait();
        --script_.running;
        if (const auto failure = std::exchange(script_.failures[item_.bugID], nullptr)) {
            std::rethrow_exception(failure);
        }
        co_await services_.manager.markFailed(item_.id, "The test has ended it.");
    }

    void stop() override { script_.told.push_back(item_.bugID + " stop"); }

    const BugQueueItem& item() const override { return item_; }
    bool hasProcess(const ProcessEntry&) const override { return false; }

  private:
    SessionServices& services_;
    SessionScript& script_;
    const BugQueueItem item_;
    const StopRequest::Subscription atRise_;
};

/// Made before all that takes its time from it.
class SteppedTime {
  protected:
    SteppedClock steppedClock{[] {}};
};

/// The loop over a real database, with scripted sessions, by a clock that the test steps. The backend answers
/// nothing usable unless the test says otherwise.
class DispatcherFixture : private SteppedTime, public ServicesFixture {
  protected:
    DispatcherFixture() : ServicesFixture(steppedClock) {
        settings.agentCommand = {"/bin/sh"};
        settings.memoryFloorMiB = 0;
        std::filesystem::create_directories(repository);
    }

    void begin(DispatcherSettings options = {}) {
        dispatcher.emplace(services, live, options, [this](BugQueueItem item, const AppMapping&) {
            return std::make_shared<ScriptedSession>(services, script, std::move(item));
        });
        loop.emplace(io.get_executor(), "the loop", runToItsEnd());
    }

    /// Lets time pass, a quarter of a second at a step, until it is so. Says whether it came to be.
    template <class Condition>
    bool until(Condition isSo) {
        const auto deadline = std::chrono::steady_clock::now() + quernlight::test::generousBound;
        while (!isSo() && std::chrono::steady_clock::now() < deadline) {
            step(std::chrono::milliseconds(250));
        }
        return isSo();
    }
    void pass(std::chrono::seconds time) {
        for (const auto end = clock.steadyNow() + time; clock.steadyNow() < end;) {
            step(std::chrono::milliseconds(250));
        }
    }
    void step(std::chrono::nanoseconds time) {
        steppedClock.advance(time);
        io.restart();
        io.run_one_for(std::chrono::milliseconds(5));
        io.poll();
    }
    /// Waits until the queue knows of the starts, too.
    testing::AssertionResult untilStarted(const std::vector<std::string>& bugIDs) {
        if (until([&] { return script.started == bugIDs && script.stored == bugIDs.size(); })) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << "started were " << testing::PrintToString(script.started);
    }

    void ends(const std::string& bugID, std::exception_ptr failure = nullptr) {
        script.failures[bugID] = std::move(failure);
        script.ending[bugID].notify();
    }

    bool hasEnded() const { return hasEnded_; }

    /// What the loop threw, in words; empty when it ended well.
    std::string failureText() const {
        try {
            if (failure_) {
                std::rethrow_exception(failure_);
            }
        } catch (const std::exception& error) {
            return error.what();
        }
        return "";
    }

    void TearDown() override {
        stop.raise(StopLevel::kill);
        for (auto& [bugID, ending] : script.ending) {
            ending.notify();
        }
        EXPECT_TRUE(!loop || until([this] { return hasEnded(); }));
    }

    SessionScript script;
    LiveSettings live{SettingsStore(store.database), {}};
    std::optional<Dispatcher> dispatcher;
    std::optional<ChildTask> loop;

  private:
    Task<void> runToItsEnd() {
        failure_ = co_await caughtException(dispatcher->run());
        hasEnded_ = true;
    }

    bool hasEnded_ = false;
    std::exception_ptr failure_;
};

}  // namespace quernlight::host::test
