#include "quernlight/runner/initial_input_observer.hpp"

#include <atomic>
#include <chrono>
#include <optional>
#include <stdexcept>

#include "quernlight/runner/terminal_input.hpp"
#include "tests/runner/codex_runner_fixture.hpp"

namespace quernlight {
namespace {

using namespace test;

/// Notes what it is told, and lets a test hold up or refuse the typing.
class NotingObserver final : public InitialInputObserver {
  public:
    void waiting(Uuid sessionID) override { note("waiting", sessionID); }
    void typed(Uuid sessionID) override {
        typingTook = std::chrono::steady_clock::now() - typingBegan_;
        note("typed", sessionID);
    }
    void gaveUp(Uuid sessionID, std::string reason) override { note("gave up: " + reason, sessionID); }
    Task<void> aboutToType(Uuid sessionID) override {
        aboutToTypeAt = currentInstant();
        typingBegan_ = std::chrono::steady_clock::now();
        note("about to type", sessionID);
        if (refusal) {
            throw std::runtime_error(*refusal);
        }
        if (holdsUp) {
            co_await agreed.wait();
        }
    }

    /// The next note; waits for it.
    std::string next() {
        const auto deadline = std::chrono::steady_clock::now() + generousBound;
        return awaitResult(notes_.nextUntil(deadline)).value_or("nothing was noted in time");
    }
    bool hasNoted() { return awaitResult(notes_.nextUntil(std::chrono::steady_clock::now())).has_value(); }

    Uuid expectedSession{};
    std::optional<std::string> refusal{};
    bool holdsUp = false;
    AsyncSignal agreed;
    std::atomic<Instant> aboutToTypeAt = Instant{};  ///< the epoch: not yet
    std::atomic<std::chrono::steady_clock::duration> typingTook{};

  private:
    void note(const std::string& text, const Uuid& sessionID) {
        EXPECT_EQ(sessionID, expectedSession);
        notes_.continuation().deliver(text);
    }

    EventStream<std::string> notes_;
    std::chrono::steady_clock::time_point typingBegan_{};  // only on the runner's thread
};

class InitialInputObserverTest : public CodexRunnerFixture {
  protected:
    InitialInputObserverTest() {
        request.initialInput = "/goal";
        observer.expectedSession = sessionID;
        runner = std::make_unique<LocalPTYCodexRunner>(observer);
    }
    ~InitialInputObserverTest() override { runner.reset(); }

    NotingObserver observer;
};

TEST_F(InitialInputObserverTest, AnInputIsAwaitedAnnouncedAndTypedInThatOrder) {
    EventLog log = listen();
    shell(prompt("head -c 7 >text; printf '[all]'; head -c 1 >/dev/null"));
    EXPECT_EQ(observer.next(), "waiting");
    EXPECT_EQ(observer.next(), "about to type");
    EXPECT_EQ(observer.next(), "typed");
    log.outputWith("[all]");
    EXPECT_EQ(readFile(directory / "text"), "/goal\r\r");
    send("x");
    log.wholeOutput();
    EXPECT_FALSE(observer.hasNoted());
}

// These two only bound from below when the input may be typed, so that a busy machine does not matter, unless
// it takes the 45 seconds after which an input is typed regardless.

TEST_F(InitialInputObserverTest, AnInputIsTypedWhenThePromptHasStoodForTheQuietPeriodAndNotBefore) {
    EventLog log = listen();
    shell("stty raw -echo; printf hello; sleep 2; printf '\\342\\200\\272'; head -c 7 >/dev/null");
    const Instant promptAt = log.dateOf("\u203A");
    log.wholeOutput();
    EXPECT_GE(observer.aboutToTypeAt.load() - promptAt, std::chrono::milliseconds(1500));
}

TEST_F(InitialInputObserverTest, AnInputIsNotTypedWhileTheAgentSaysThatItStartsUp) {
    EventLog log = listen();
    shell("printf 'Starting MCP servers\\n\\342\\200\\272'; sleep 2.5");
    const Instant startingAt = log.dateOf("Starting MCP servers");
    log.wholeOutput();
    const Instant typedAt = observer.aboutToTypeAt;
    EXPECT_TRUE(typedAt == Instant{} || typedAt - startingAt >= std::chrono::seconds(8));
}

// A pause can only seem longer on a busy machine. What the child sees of it would be shorter there, where it
// is late to look.
TEST_F(InitialInputObserverTest, BetweenTheTextAndItsEnterIsAPause) {
    request.initialInput = "/goal first\nsecond";
    EventLog log = listen();
    shell(prompt("head -c 20 >text"));
    EXPECT_EQ(observer.next(), "waiting");
    EXPECT_EQ(observer.next(), "about to type");
    EXPECT_EQ(observer.next(), "typed");
    EXPECT_GE(observer.typingTook.load(), InitialPromptSendPlan::pauseBetweenChunks);
    log.wholeOutput();
    EXPECT_EQ(readFile(directory / "text"), "/goal first\rsecond\r\r");
}

TEST_F(InitialInputObserverTest, ASessionWithoutInitialInputIsNotSpokenOf) {
    request.initialInput = "";
    EventLog log = listen();
    shell("exit 0");
    log.wholeOutput();
    EXPECT_FALSE(observer.hasNoted());
}

TEST_F(InitialInputObserverTest, ASessionThatCannotBeStartedIsNotSpokenOf) {
    request.launchCommand = {"/nonexistent/codex"};
    EXPECT_ANY_THROW(awaitResult(runner->startSession(request)));
    EXPECT_FALSE(observer.hasNoted());
}

TEST_F(InitialInputObserverTest, NothingIsTypedBeforeTheObserverAgrees) {
    observer.holdsUp = true;
    EventLog log = listen();
    shell(prompt("head -c 8 >text"));
    EXPECT_EQ(observer.next(), "waiting");
    EXPECT_EQ(observer.next(), "about to type");
    send("x");
    observer.agreed.notify();
    EXPECT_EQ(observer.next(), "typed");
    log.wholeOutput();
    EXPECT_EQ(readFile(directory / "text"), "x/goal\r\r");
}

TEST_F(InitialInputObserverTest, ARefusalWithoutAWordIsOneToo) {
    observer.refusal = "";
    EventLog log = listen();
    shell(prompt("head -c 1 >text"));
    EXPECT_EQ(observer.next(), "waiting");
    EXPECT_EQ(observer.next(), "about to type");
    EXPECT_EQ(observer.next(), "gave up: ");
    send("x");
    log.wholeOutput();
    EXPECT_EQ(readFile(directory / "text"), "x");
}

TEST_F(InitialInputObserverTest, AnInputThatTheObserverRefusesIsGivenUpAndTheSessionGoesOn) {
    observer.refusal = "Not now.";
    EventLog log = listen();
    shell(prompt("head -c 1 >text; exit 5"));
    EXPECT_EQ(observer.next(), "waiting");
    EXPECT_EQ(observer.next(), "about to type");
    EXPECT_EQ(observer.next(), "gave up: Not now.");
    send("x");
    EXPECT_EQ(log.exitCode(), 5);
    EXPECT_EQ(readFile(directory / "text"), "x");
}

TEST_F(InitialInputObserverTest, AnInputForASessionThatHasEndedIsGivenUpForWantOfTheSession) {
    shell("printf '\\342\\200\\272'");
    EXPECT_EQ(observer.next(), "waiting");
    EXPECT_EQ(observer.next(), "about to type");
    EXPECT_EQ(observer.next(), "gave up: " + missing());
}

TEST_F(InitialInputObserverTest, AnInputThatTheExitCutsShortIsGivenUpBecauseNothingRuns) {
    request.initialInput = std::string(1 << 20, 'x');
    shell(prompt("head -c 1 >text"));
    EXPECT_EQ(observer.next(), "waiting");
    EXPECT_EQ(observer.next(), "about to type");
    EXPECT_EQ(observer.next(), "gave up: Session is not running.");
}

}  // namespace
}  // namespace quernlight
