#include "host/events/standing_wish.hpp"

#include <ostream>
#include <sstream>

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

struct WishRow {
    const char* kinds;
    StandingWish wish;
    bool heldByStop = false;
};

void PrintTo(const WishRow& row, std::ostream* stream) {
    *stream << row.kinds;
}

class StandingWishTest : public testing::TestWithParam<WishRow> {};

TEST_P(StandingWishTest, IsReadFromTheItemsHistory) {
    std::istringstream kinds(GetParam().kinds);
    std::vector<QueueEvent> events;
    for (std::string kind; kinds >> kind;) {
        events.emplace_back().kind = kind;
    }
    EXPECT_EQ(standingWish(events), GetParam().wish);
    EXPECT_EQ(wasHeldByStop(events), GetParam().heldByStop);
}

INSTANTIATE_TEST_SUITE_P(
    Histories, StandingWishTest,
    testing::Values(
        WishRow{"enqueued startingCodex running", StandingWish::none},
        WishRow{"running holdRequested", StandingWish::hold},
        WishRow{"running cancelRequested", StandingWish::cancel},
        WishRow{"running holdRequested agentExited resumable", StandingWish::hold},
        WishRow{"running holdRequested cancelRequested", StandingWish::cancel},
        WishRow{"running cancelRequested resumable recovered", StandingWish::cancel},
        WishRow{"running holdRequested resumable queueModeChanged", StandingWish::none},
        WishRow{"running holdRequested resumable queueModeChanged sessionStopped", StandingWish::none, true},
        WishRow{"running resumable sessionStopped queueModeChanged", StandingWish::none, true},
        WishRow{"holdRequested sessionStopped", StandingWish::none},
        WishRow{"queueModeChanged running holdRequested sessionStopped", StandingWish::none},
        WishRow{"queueModeChanged sessionStopped queueModeChanged queueModeChanged", StandingWish::none},
        WishRow{"running cancelRequested cancelled", StandingWish::none},
        WishRow{"running holdRequested completed", StandingWish::none},
        WishRow{"running holdRequested awaitingUserInput", StandingWish::none},
        WishRow{"running holdRequested failed retried", StandingWish::none},
        WishRow{"running holdRequested startRequested", StandingWish::none}));

}  // namespace
}  // namespace quernlight::host
