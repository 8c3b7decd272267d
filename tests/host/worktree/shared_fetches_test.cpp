#include "host/worktree/shared_fetches.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

/// Preparations whose git only counts.
class SharedFetchesTest : public testing::Test {
  protected:
    GitRunner preparation() {
        return fetches.sharing([this](std::vector<std::string> arguments) { return run(arguments[2]); });
    }
    Task<GitCommandResult> run(std::string command) {
        ++runs[command];
        co_return GitCommandResult{status, "run " + std::to_string(runs[command])};
    }
    static std::string fetch(const GitRunner& git, const std::string& branch = "main") {
        return quernlight::test::runTask(git({"-C", "/shop", "fetch", "origin", branch})).output;
    }

    SharedFetches fetches;
    std::map<std::string, int> runs;
    int status = 0;
};

TEST_F(SharedFetchesTest, OneFetchServesAllThatHaveAskedBeforeIt) {
    const auto first = preparation();
    const auto second = preparation();
    EXPECT_EQ(fetch(first), "run 1");
    EXPECT_EQ(fetch(second), "run 1");
}

TEST_F(SharedFetchesTest, WhoAsksAfterItBeganFetchesAgain) {
    fetch(preparation());
    EXPECT_EQ(fetch(preparation()), "run 2");
}

TEST_F(SharedFetchesTest, OfAnotherBranchItServesNobody) {
    const auto first = preparation();
    const auto second = preparation();
    fetch(first);
    EXPECT_EQ(fetch(second, "next"), "run 2");
}

TEST_F(SharedFetchesTest, AFailedOneIsTriedAgain) {
    const auto first = preparation();
    const auto second = preparation();
    status = 128;
    fetch(first);
    EXPECT_EQ(fetch(second), "run 2");
}

TEST_F(SharedFetchesTest, OtherCommandsAreNotShared) {
    const auto first = preparation();
    const auto second = preparation();
    quernlight::test::runTask(first({"-C", "/shop", "remote"}));
    quernlight::test::runTask(second({"-C", "/shop", "remote"}));
    EXPECT_EQ(runs["remote"], 2);
}

}  // namespace
}  // namespace quernlight::host
