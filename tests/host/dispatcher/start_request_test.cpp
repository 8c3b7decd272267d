#include "host/dispatcher/start_request.hpp"

#include <sstream>

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

struct HistoryCase {
    const char* kinds;
    bool requested;
};

void PrintTo(const HistoryCase& row, std::ostream* stream) {
    *stream << row.kinds;
}

class StartRequestTest : public testing::TestWithParam<HistoryCase> {};

TEST_P(StartRequestTest, IsReadFromTheItemsHistory) {
    std::istringstream kinds(GetParam().kinds);
    std::vector<QueueEvent> events;
    for (std::string kind; kinds >> kind;) {
        events.emplace_back().kind = kind;
    }
    EXPECT_EQ(startIsRequested(events), GetParam().requested);
}

INSTANTIATE_TEST_SUITE_P(
    Histories, StartRequestTest,
    testing::Values(HistoryCase{"enqueued", false}, HistoryCase{"enqueued startRequested", true},
                    HistoryCase{"enqueued startRequested startingCodex", false},
                    HistoryCase{"enqueued startRequested startingCodex running resumable", true},
                    HistoryCase{"startRequested startingCodex resumable startingCodex resumable", true},
                    HistoryCase{"startRequested startingCodex running completed followUpWanted", false},
                    HistoryCase{"startingCodex resumable", false},
                    HistoryCase{"startRequested resumable", true},
                    HistoryCase{"startRequested startingCodex running recovered", true},
                    HistoryCase{"startingCodex running resumable recovered", false},
                    HistoryCase{"startRequested startingCodex running completed recovered", false},
                    HistoryCase{"startRequested startingCodex running awaitingUserInput recovered", false},
                    HistoryCase{"startRequested cancelled retried", false},
                    HistoryCase{"startRequested failed retried", false},
                    HistoryCase{"startRequested startingCodex failed retried resumable", false},
                    HistoryCase{"startRequested startingCodex running holdRequested resumable", false},
                    HistoryCase{"startRequested queueModeChanged", false}));

}  // namespace
}  // namespace quernlight::host
