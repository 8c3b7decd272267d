#include "host/process/task_set.hpp"

#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/stepped_clock.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

using std::chrono::hours;
using testing::ElementsAre;

class TaskSetTest : public testing::Test {
  protected:
    Task<void> work(std::string name) {
        const std::shared_ptr<void> atEnd(nullptr, [this, name](void*) { ended.push_back(name); });
        co_await clock.sleepFor(hours(1));
    }
    static Task<void> fail() {
        throw std::runtime_error("no");
        co_return;
    }

    boost::asio::io_context io;
    test::SteppedClock clock{io};
    std::vector<std::string> ended;
    std::vector<std::string> errors;
    TaskSet tasks{io.get_executor(),
                  [this](const std::string& name, const std::exception_ptr&) { errors.push_back(name); }};
};

TEST_F(TaskSetTest, WorkRunsBesideItsOwnerAndIsForgottenOnceItHasEnded) {
    tasks.add("first", work("first"));
    clock.advance(hours(0));
    EXPECT_EQ(tasks.size(), 1U);
    clock.advance(hours(1));
    EXPECT_THAT(ended, ElementsAre("first"));
    EXPECT_EQ(tasks.size(), 0U);
}

TEST_F(TaskSetTest, TheEndCancelsAllWorkAndWaitsForIt) {
    tasks.add("first", work("first"));
    tasks.add("second", work("second"));
    clock.advance(hours(0));
    quernlight::test::runTask(io, tasks.end());
    EXPECT_THAT(ended, testing::UnorderedElementsAre("first", "second"));
    EXPECT_EQ(tasks.size(), 0U);
}

TEST_F(TaskSetTest, WhatWorkThrowsGoesToTheHandlerAndACancellationDoesNot) {
    tasks.add("failing", fail());
    tasks.add("cancelled", work("cancelled"));
    clock.advance(hours(0));
    quernlight::test::runTask(io, tasks.end());
    EXPECT_THAT(errors, ElementsAre("failing"));
}

}  // namespace
}  // namespace quernlight::host
