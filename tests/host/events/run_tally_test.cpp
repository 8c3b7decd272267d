#include "host/events/run_tally.hpp"

#include <ostream>
#include <vector>

#include <gtest/gtest.h>

#include "host/events/event_kind.hpp"

namespace quernlight::host {
namespace {

using enum EventKind;

struct TallyRow {
    const char* name;
    std::vector<std::pair<const char*, EventKind>> events;  ///< bug and kind
    const char* beginning;                                  ///< of the sentence; null: none
};

void PrintTo(const TallyRow& row, std::ostream* out) {
    *out << row.name;
}

class RunTallyTest : public testing::TestWithParam<TallyRow> {};

TEST_P(RunTallyTest, TellsHowManyOfTheBugsWorkedOnHaveFailed) {
    RunTally tally;
    for (const auto& [bugID, kind] : GetParam().events) {
        ItemChanged changed{.bugID = bugID};
        changed.event.kind = storedText(kind);
        tally.handle(changed);
        tally.handle(Notice{"Something else."});
    }
    const std::string wanted =
        GetParam().beginning
            ? GetParam().beginning + std::string("; see why with: quernlight-dispatch queue list")
            : "none";
    EXPECT_EQ(tally.failureSentence().value_or("none"), wanted);
}

INSTANTIATE_TEST_SUITE_P(
    Table, RunTallyTest,
    testing::Values(
        TallyRow{"nothing", {}, nullptr},
        TallyRow{"none has failed", {{"1", startingCodex}, {"1", completed}}, nullptr},
        TallyRow{"the only one", {{"1", startingCodex}, {"1", failed}}, "Of 1 bug worked on 1 failed"},
        TallyRow{"one of two",
                 {{"1", startingCodex}, {"2", startingCodex}, {"1", failed}, {"2", awaitingUserInput}},
                 "Of 2 bugs worked on 1 failed"},
        TallyRow{"one that an earlier run has begun", {{"1", failed}}, "Of 1 bug worked on 1 failed"},
        TallyRow{
            "one that went well after all", {{"1", failed}, {"1", startingCodex}, {"1", completed}}, nullptr},
        TallyRow{"one that was told to be queued again", {{"1", failed}, {"1", retried}}, nullptr}));

}  // namespace
}  // namespace quernlight::host
