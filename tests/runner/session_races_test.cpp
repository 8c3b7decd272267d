#include <functional>
#include <set>
#include <system_error>
#include <thread>

#include <boost/asio/io_context.hpp>

#include "quernlight/runner/runner_error.hpp"
#include "tests/runner/codex_runner_fixture.hpp"

namespace quernlight {
namespace {

using namespace test;

/// Operations that are begun again and again, each on a thread of its own, while the session ends.
class SessionRacesTest : public CodexRunnerFixture {
  protected:
    using Operation = std::function<Task<void>()>;

    /// Repeats the operation until the runner has no such session any more. That, and that nothing runs, is
    /// all that it may say then; a write may also find that the child has already let go of its terminal.
    std::thread untilMissing(Operation operation) const {
        return std::thread([operation = std::move(operation)] {
            boost::asio::io_context io;
            while (true) {
                try {
                    runTask(io, operation());
                } catch (const RunnerError&) {
                    return;
                } catch (const PTYProcessError& error) {
                    EXPECT_EQ(error.kind(), PTYProcessError::Case::sessionNotRunning);
                } catch (const std::system_error& error) {
                    EXPECT_EQ(error.code(), std::errc::io_error);
                }
            }
        });
    }

    Operation sending() {
        return [this] { return runner->sendInput("text\n", sessionID); };
    }
    Operation resizing() {
        return [this] { return runner->resize(sessionID, 100, 40); };
    }
    Operation terminating(TerminationMode mode) {
        return [this, mode] { return runner->terminate(sessionID, mode); };
    }

    /// Sessions whose children exit after a moment by themselves, while the operations go on.
    void race(const std::vector<Operation>& operations, const std::set<int>& exitCodes) {
        for (int round = 0; round < 20; ++round) {
            EventLog log = listen();
            shell("stty -echo; read word; exit 7");
            std::vector<std::thread> threads;
            for (const Operation& operation : operations) {
                threads.push_back(untilMissing(operation));
            }
            const int exitCode = exitCodeAfterEnter(log);
            log.wholeOutput();
            for (std::thread& thread : threads) {
                thread.join();
            }
            ASSERT_TRUE(exitCodes.contains(exitCode)) << exitCode;
            ASSERT_EQ(log.kinds().front(), 'S');
            ASSERT_EQ(log.kinds().find('X'), log.kinds().size() - 1);
        }
    }

  private:
    int exitCodeAfterEnter(EventLog& log) {
        try {
            send("\n");
        } catch (const std::exception&) {
            // One of the threads was faster.
        }
        return log.exitCode();
    }
};

TEST_F(SessionRacesTest, AWriteRacesWithTheExit) {
    race({sending()}, {7});
}

TEST_F(SessionRacesTest, AResizeRacesWithTheExit) {
    race({resizing()}, {7});
}

TEST_F(SessionRacesTest, EveryTerminationModeRacesWithTheExit) {
    race({terminating(TerminationMode::requestExitCommand)}, {7});
    race({terminating(TerminationMode::interrupt)}, {7, 130});
    race({terminating(TerminationMode::terminate)}, {7, 143});
    race({terminating(TerminationMode::kill)}, {7, 137});
}

TEST_F(SessionRacesTest, AllOfThemRaceWithTheExitAndWithEachOther) {
    race({sending(), resizing(), terminating(TerminationMode::requestExitCommand),
          terminating(TerminationMode::interrupt), terminating(TerminationMode::terminate),
          terminating(TerminationMode::kill)},
         {7, 130, 143, 137});
}

TEST_F(SessionRacesTest, StartsAndExitsOfSessionsSideBySideKeepEachInOrder) {
    const auto runMany = [this] {
        boost::asio::io_context io;
        StartSessionRequest own = request;
        own.launchCommand = {"/bin/sh", "-c", "printf text"};
        for (int round = 0; round < 20; ++round) {
            own.sessionID = randomUuid();
            EventStream<RunnerEvent> stream = runner->events(own.sessionID);
            runTask(io, runner->startSession(own));
            std::string kinds;
            while (const auto event = runTask(io, stream.next())) {
                EXPECT_EQ(event->sessionID(), own.sessionID);
                kinds.push_back("SOXF"[event->payload().index()]);
            }
            EXPECT_EQ(kinds, "SOX");
        }
    };
    std::thread other(runMany);
    runMany();
    other.join();
    EXPECT_TRUE(active().empty());
}

}  // namespace
}  // namespace quernlight
