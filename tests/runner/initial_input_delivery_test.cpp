#include "quernlight/runner/initial_input_delivery.hpp"

#include <atomic>
#include <chrono>
#include <string>

#include "tests/runner/codex_runner_fixture.hpp"

namespace quernlight {
namespace {

using namespace test;

/// Notes what it is to deliver, and when.
class NotingDelivery final : public InitialInputDelivery {
  public:
    void deliver(Uuid sessionID, std::string input) override {
        asked = currentInstant();
        notes_.continuation().deliver(upperCaseText(sessionID) + " " + input);
    }

    /// The next note; waits for it.
    std::string next() {
        const auto deadline = std::chrono::steady_clock::now() + generousBound;
        return awaitResult(notes_.nextUntil(deadline)).value_or("nothing was noted in time");
    }
    bool hasNoted() { return awaitResult(notes_.nextUntil(std::chrono::steady_clock::now())).has_value(); }

    std::atomic<Instant> asked{};

  private:
    EventStream<std::string> notes_;
};

class InitialInputDeliveryTest : public CodexRunnerFixture {
  protected:
    InitialInputDeliveryTest() {
        request.initialInput = "/goal first\nsecond\x03";
        runner = std::make_unique<LocalPTYCodexRunner>(delivery);
    }
    ~InitialInputDeliveryTest() override { runner.reset(); }

    NotingDelivery delivery;
};

TEST_F(InitialInputDeliveryTest, AHostThatDeliversInputsGetsThemAsTheyAreAndNothingIsTyped) {
    EventLog log = listen();
    shell(prompt("head -c 1 >text"));
    EXPECT_EQ(delivery.next(), upperCaseText(sessionID) + " /goal first\nsecond\x03");
    send("x");
    log.wholeOutput();
    EXPECT_EQ(readFile(directory / "text"), "x");
    EXPECT_FALSE(delivery.hasNoted());
}

// These two only bound from below when the input may be delivered, so that a busy machine does not matter,
// unless it takes the 45 seconds after which that is done regardless.

TEST_F(InitialInputDeliveryTest, ItIsAskedWhenThePromptHasStoodForTheQuietPeriodAndNotBefore) {
    EventLog log = listen();
    shell("stty raw -echo; printf hello; sleep 2; printf '\\342\\200\\272'; head -c 1 >/dev/null");
    const Instant promptAt = log.dateOf("\u203A");
    delivery.next();
    EXPECT_GE(delivery.asked.load() - promptAt, std::chrono::milliseconds(1500));
    send("x");
    log.wholeOutput();
}

TEST_F(InitialInputDeliveryTest, ItIsNotAskedWhileTheAgentSaysThatItStartsUp) {
    EventLog log = listen();
    shell("printf 'Starting MCP servers\\n\\342\\200\\272'; sleep 2.5");
    const Instant startingAt = log.dateOf("Starting MCP servers");
    log.wholeOutput();
    const Instant askedAt = delivery.asked;
    EXPECT_TRUE(askedAt == Instant{} || askedAt - startingAt >= std::chrono::seconds(8));
}

TEST_F(InitialInputDeliveryTest, ASessionWithoutAnInputIsNotSpokenOf) {
    request.initialInput = "";
    EventLog log = listen();
    shell("exit 0");
    log.wholeOutput();
    EXPECT_FALSE(delivery.hasNoted());
}

TEST_F(InitialInputDeliveryTest, ASessionThatCannotBeStartedIsNotSpokenOf) {
    request.launchCommand = {"/nonexistent/codex"};
    EXPECT_ANY_THROW(awaitResult(runner->startSession(request)));
    EXPECT_FALSE(delivery.hasNoted());
}

}  // namespace
}  // namespace quernlight
