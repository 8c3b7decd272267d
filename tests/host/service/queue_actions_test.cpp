#include "host/service/queue_actions.hpp"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {

void PrintTo(QueueActionVerdict verdict, std::ostream* out) {
    *out << queueActionSentence(QueueAction::retry, verdict, BugQueueItem{.bugID = "3f2a9c1d"});
}

namespace {

using testing::ElementsAreArray;
using testing::EndsWith;
using enum QueueActionVerdict;
using enum QueueItemStatus;

constexpr QueueActionVerdict toSettle = sessionUnreconciled;

/// What may be done to an item in a state, for every action in the order of `allQueueActions`.
struct StateRow {
    const char* name;
    QueueActionFacts facts;
    Consent consent;
    std::array<QueueActionVerdict, allQueueActions.size()> verdicts;
};

void PrintTo(const StateRow& row, std::ostream* out) {
    *out << row.name;
}

class QueueActionVerdictTest : public testing::TestWithParam<StateRow> {};

TEST_P(QueueActionVerdictTest, IsAFunctionOfTheItemsState) {
    const StateRow& row = GetParam();
    std::vector<QueueActionVerdict> verdicts;
    for (const QueueAction action : allQueueActions) {
        verdicts.push_back(queueActionVerdict(action, row.facts, row.consent));
    }
    EXPECT_THAT(verdicts, ElementsAreArray(row.verdicts));
}

constexpr auto automatic = QueueMode::automatic;
constexpr auto manual = QueueMode::manual;
constexpr Consent again{.again = true};
constexpr Consent confirmed{.again = true, .confirmed = true};
constexpr Consent yesAlone{.confirmed = true};

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Table, QueueActionVerdictTest,
    testing::Values(
        //                                                          start            next             retry              cancel     moveToManual     moveToAuto
        StateRow{"queued",             {queued, automatic},             {}, {notHeld,         allowed,         allowed,           allowed,   allowed,         allowed}},
        StateRow{"waitingForMapping",  {waitingForMapping, automatic},  {}, {notHeld,         allowed,         allowed,           allowed,   allowed,         allowed}},
        StateRow{"waitingForCapacity", {waitingForCapacity, automatic}, {}, {notHeld,         allowed,         allowed,           allowed,   allowed,         allowed}},
        StateRow{"startingCodex",      {startingCodex, automatic},      {}, {notHeld,         toSettle,        toSettle,          toSettle,  toSettle,        toSettle}},
        StateRow{"running",            {running, automatic},            {}, {notHeld,         toSettle,        toSettle,          toSettle,  toSettle,        toSettle}},
        StateRow{"codexCompleted",     {codexCompleted, automatic},     {}, {notHeld,         toSettle,        toSettle,          toSettle,  toSettle,        toSettle}},
        StateRow{"awaitingUserInput",  {awaitingUserInput, automatic},  {}, {needsRetry,      needsRetry,      allowed,           leftQueue, needsRetry,      needsRetry}},
        StateRow{"completed",          {completed, automatic},          {}, {needsRetryAgain, needsRetryAgain, needsRetryAgain,   leftQueue, needsRetryAgain, needsRetryAgain}},
        StateRow{"failed",             {failed, automatic},             {}, {needsRetry,      needsRetry,      allowed,           leftQueue, needsRetry,      needsRetry}},
        StateRow{"cancelled",          {cancelled, automatic},          {}, {needsRetry,      needsRetry,      allowed,           leftQueue, needsRetry,      needsRetry}},

        StateRow{"queued, held",             {queued, manual},             {}, {allowed,    allowed,    allowed,  allowed,   allowed,    allowed}},
        StateRow{"waitingForMapping, held",  {waitingForMapping, manual},  {}, {allowed,    allowed,    allowed,  allowed,   allowed,    allowed}},
        StateRow{"waitingForCapacity, held", {waitingForCapacity, manual}, {}, {allowed,    allowed,    allowed,  allowed,   allowed,    allowed}},
        StateRow{"queued, held, unmapped",   {queued, manual, false, false}, {}, {needsMapping, allowed, allowed, allowed, allowed, allowed}},
        StateRow{"queued, unmapped",         {queued, automatic, false, false}, {}, {notHeld, allowed, allowed, allowed, allowed, allowed}},
        StateRow{"startingCodex, held",      {startingCodex, manual},      {}, {notHeld,    toSettle,   toSettle, toSettle,  toSettle,   toSettle}},
        StateRow{"running, held",            {running, manual},            {}, {notHeld,    toSettle,   toSettle, toSettle,  toSettle,   toSettle}},
        StateRow{"codexCompleted, held",     {codexCompleted, manual},     {}, {notHeld,    toSettle,   toSettle, toSettle,  toSettle,   toSettle}},
        StateRow{"failed, held",             {failed, manual},             {}, {needsRetry, needsRetry, allowed,  leftQueue, needsRetry, needsRetry}},

        StateRow{"completed, again",           {completed, automatic}, again,     {needsRetryAgain, needsRetryAgain, needsConfirmation, leftQueue, needsRetryAgain, needsRetryAgain}},
        StateRow{"completed, confirmed",       {completed, automatic}, confirmed, {needsRetryAgain, needsRetryAgain, allowed,           leftQueue, needsRetryAgain, needsRetryAgain}},
        StateRow{"completed, yes without again", {completed, automatic}, yesAlone, {needsRetryAgain, needsRetryAgain, needsRetryAgain,  leftQueue, needsRetryAgain, needsRetryAgain}},
        StateRow{"failed, again",              {failed, automatic},    again,     {needsRetry,      needsRetry,      allowed,           leftQueue, needsRetry,      needsRetry}},

        StateRow{"queued, with an open attempt",    {queued, automatic, true},    {}, {notHeld,    allowed,    allowed,  allowed,   allowed,    allowed}},
        StateRow{"cancelled, with an open attempt", {cancelled, automatic, true}, {}, {needsRetry, needsRetry, toSettle, leftQueue, needsRetry, needsRetry}},
        StateRow{"completed, again, with an open attempt",     {completed, automatic, true}, again,     {needsRetryAgain, needsRetryAgain, needsConfirmation, leftQueue, needsRetryAgain, needsRetryAgain}},
        StateRow{"completed, confirmed, with an open attempt", {completed, automatic, true}, confirmed, {needsRetryAgain, needsRetryAgain, toSettle,          leftQueue, needsRetryAgain, needsRetryAgain}}));
// clang-format on

struct SentenceRow {
    QueueActionVerdict verdict;
    const char* sentence;
};

void PrintTo(const SentenceRow& row, std::ostream* out) {
    *out << row.sentence;
}

class QueueActionSentenceTest : public testing::TestWithParam<SentenceRow> {};

TEST_P(QueueActionSentenceTest, SaysWhatToDoInstead) {
    const BugQueueItem item{.bugID = "3f2a9c1d",
                            .appName = "Shop",
                            .bundleID = "com.acme.shop",
                            .status = QueueItemStatus::failed};
    EXPECT_EQ(queueActionSentence(QueueAction::retry, GetParam().verdict, item),
              std::string("Bug 3f2a9c1d (failed): ") + GetParam().sentence);
}

INSTANTIATE_TEST_SUITE_P(
    Table, QueueActionSentenceTest,
    testing::Values(
        SentenceRow{leftQueue, "it has left its queue already."},
        SentenceRow{needsRetry,
                    "it has left its queue; queue it again with: quernlight-dispatch queue retry 3f2a9c1d"},
        SentenceRow{needsRetryAgain,
                    "its work is done; to have it worked on again all the same: quernlight-dispatch queue "
                    "retry 3f2a9c1d --again"},
        SentenceRow{needsConfirmation,
                    "its work is done; a person has to confirm that it is worked on again."},
        SentenceRow{notHeld,
                    "only bugs that wait in the manual queue are started by hand; put it there with: "
                    "quernlight-dispatch queue hold 3f2a9c1d"},
        SentenceRow{needsMapping,
                    "its app has no repository; name one first with: quernlight-dispatch map set --bundle "
                    "com.acme.shop --app Shop --repo PATH"},
        SentenceRow{sessionUnreconciled,
                    "its session has to be reconciled first; start the dispatcher once."}));

TEST(QueueActionSentence, QuotesAnIdThatAShellWouldTakeForMore) {
    const BugQueueItem item{.bugID = "a;b", .status = QueueItemStatus::failed};
    EXPECT_THAT(queueActionSentence(QueueAction::next, needsRetry, item), EndsWith("queue retry 'a;b'"));
}

TEST(QueueActionFactsTest, AnAttemptIsOpenUntilItsEndIsStored) {
    const BugQueueItem item{.queueMode = manual, .status = QueueItemStatus::failed};
    EXPECT_FALSE(queueActionFacts(item, std::nullopt, true).hasOpenAttempt);
    for (const SessionAttemptState state : allSessionAttemptStates) {
        const bool hasEnded = state == SessionAttemptState::completed || state == SessionAttemptState::failed;
        const SessionAttemptRecord attempt{.state = state};
        EXPECT_EQ(queueActionFacts(item, attempt, true).hasOpenAttempt, !hasEnded) << rawValue(state);
    }
    EXPECT_EQ(queueActionFacts(item, std::nullopt, true).mode, manual);
    EXPECT_FALSE(queueActionFacts(item, std::nullopt, false).isMapped);
}

}  // namespace
}  // namespace quernlight::host
