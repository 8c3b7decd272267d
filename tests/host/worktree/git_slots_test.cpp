#include "host/worktree/git_slots.hpp"

#include <map>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <gmock/gmock.h>

#include "quernlight/platform/async_signal.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;

/// Gits that end when they are told to, by their first argument.
class GitSlotsTest : public testing::Test {
  protected:
    void start(const std::string& name, boost::asio::cancellation_slot slot = {}) {
        boost::asio::co_spawn(io, work(name), boost::asio::bind_cancellation_slot(slot, [](auto...) {}));
        settle();
    }
    void end(const std::string& name) {
        ends[name].notify();
        settle();
    }
    void settle() {
        io.restart();
        io.poll();
    }
    Task<void> work(std::string name) {
        const GitRunner git =
            slots.inTurn([this](std::vector<std::string> words) { return run(words.at(0)); });
        std::vector<std::string> words{name};
        co_await git(std::move(words));
    }
    Task<GitCommandResult> run(std::string name) {
        begun.push_back(name);
        co_await ends[name].wait();
        co_return GitCommandResult{};
    }

    boost::asio::io_context io;
    GitSlots slots{2};
    std::map<std::string, AsyncSignal> ends;
    std::vector<std::string> begun;
};

TEST_F(GitSlotsTest, MoreThanThereIsRoomForWaitInTheirOrder) {
    for (const char* name : {"a", "b", "c", "d"}) {
        start(name);
    }
    EXPECT_THAT(begun, ElementsAre("a", "b"));
    end("b");
    EXPECT_THAT(begun, ElementsAre("a", "b", "c"));
    end("a");
    end("c");
    end("d");
    EXPECT_THAT(begun, ElementsAre("a", "b", "c", "d"));
    start("e");
    start("f");
    start("g");
    EXPECT_THAT(begun, ElementsAre("a", "b", "c", "d", "e", "f"));
}

TEST_F(GitSlotsTest, OneThatNobodyWantsAnyMoreLeavesItsPlaceToTheNext) {
    boost::asio::cancellation_signal cancel;
    start("a");
    start("b");
    start("c", cancel.slot());
    start("d");
    cancel.emit(boost::asio::cancellation_type::terminal);
    settle();
    end("a");
    EXPECT_THAT(begun, ElementsAre("a", "b", "d"));
    end("b");
    start("e");
    EXPECT_THAT(begun, ElementsAre("a", "b", "d", "e"));
}

}  // namespace
}  // namespace quernlight::host
