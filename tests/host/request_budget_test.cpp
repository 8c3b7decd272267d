#include "host/session/request_budget.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;
using TimePoint = RequestBudget::TimePoint;

constexpr TimePoint start{std::chrono::hours(1)};

TEST(RequestBudgetTest, ABurstGoesAtOnceAndTheRestAtTheSteadyRate) {
    RequestBudget budget(10, 3);
    for (const int due : {0, 0, 0, 100, 200, 300}) {
        EXPECT_EQ(budget.reserve(start), start + milliseconds(due));
    }
}

TEST(RequestBudgetTest, AfterAPauseThereIsOneBurstAgainAndNotMore) {
    RequestBudget budget(10, 2);
    budget.reserve(start);
    const TimePoint later = start + std::chrono::hours(1);
    for (const int due : {0, 0, 100, 200}) {
        EXPECT_EQ(budget.reserve(later), later + milliseconds(due));
    }
}

TEST(RequestBudgetTest, NobodyIsSentBeforeAsking) {
    RequestBudget budget(10, 1);
    EXPECT_EQ(budget.reserve(start), start);
    EXPECT_EQ(budget.reserve(start + milliseconds(30)), start + milliseconds(100));
    EXPECT_EQ(budget.reserve(start + milliseconds(500)), start + milliseconds(500));
}

}  // namespace
}  // namespace quernlight::host
