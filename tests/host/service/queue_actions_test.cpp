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

constexpr QueueActionVerdict unknown = sessionUnreconciled;
constexpr QueueActionVerdict toSettle = reconcileFirst;

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
        //                                                          start            next             retry              cancel     moveToManual     moveToAuto  reorder  remove
        StateRow{"queued",             {queued, automatic},             {}, {notHeld, allowed, allowed, allowed, allowed, allowed, allowed, allowed}},
        StateRow{"waitingForMapping",  {waitingForMapping, automatic},  {}, {notHeld, allowed, allowed, allowed, allowed, allowed, allowed, allowed}},
        StateRow{"waitingForCapacity", {waitingForCapacity, automatic}, {}, {notHeld, allowed, allowed, allowed, allowed, allowed, allowed, allowed}},
        StateRow{"startingCodex",      {startingCodex, automatic},      {}, {unknown, unknown, toSettle, toSettle, toSettle, unknown, unknown, toSettle}},
        StateRow{"running",            {running, automatic},            {}, {unknown, unknown, toSettle, toSettle, toSettle, unknown, unknown, toSettle}},
        StateRow{"codexCompleted",     {codexCompleted, automatic},     {}, {unknown, unknown, toSettle, toSettle, toSettle, unknown, unknown, toSettle}},
        StateRow{"awaitingUserInput",  {awaitingUserInput, automatic},  {}, {needsRetry, needsRetry, allowed, leftQueue, needsRetry, needsRetry, needsRetry, allowed}},
        StateRow{"completed",          {completed, automatic},          {}, {needsRetryAgain, needsRetryAgain, needsRetryAgain, leftQueue, needsRetryAgain, needsRetryAgain, needsRetryAgain, needsConfirmation}},
        StateRow{"failed",             {failed, automatic},             {}, {needsRetry, needsRetry, allowed, leftQueue, needsRetry, needsRetry, needsRetry, allowed}},
        StateRow{"cancelled",          {cancelled, automatic},          {}, {needsRetry, needsRetry, allowed, leftQueue, needsRetry, needsRetry, needsRetry, allowed}},

        StateRow{"queued, held",             {queued, manual},             {}, {allowed, allowed, allowed, allowed, allowed, allowed, allowed, allowed}},
        StateRow{"waitingForMapping, held",  {waitingForMapping, manual},  {}, {allowed, allowed, allowed, allowed, allowed, allowed, allowed, allowed}},
        StateRow{"waitingForCapacity, held", {waitingForCapacity, manual}, {}, {allowed, allowed, allowed, allowed, allowed, allowed, allowed, allowed}},
        StateRow{"queued, held, unmapped",   {queued, manual, false, false}, {}, {needsMapping, allowed, allowed, allowed, allowed, allowed, allowed, allowed}},
        StateRow{"queued, unmapped",         {queued, automatic, false, false}, {}, {notHeld, allowed, allowed, allowed, allowed, allowed, allowed, allowed}},
        StateRow{"startingCodex, held",      {startingCodex, manual},      {}, {unknown, unknown, toSettle, toSettle, toSettle, unknown, unknown, toSettle}},
        StateRow{"running, held",            {running, manual},            {}, {unknown, unknown, toSettle, toSettle, toSettle, unknown, unknown, toSettle}},
        StateRow{"codexCompleted, held",     {codexCompleted, manual},     {}, {unknown, unknown, toSettle, toSettle, toSettle, unknown, unknown, toSettle}},
        StateRow{"failed, held",             {failed, manual},             {}, {needsRetry, needsRetry, allowed, leftQueue, needsRetry, needsRetry, needsRetry, allowed}},

        StateRow{"completed, again",           {completed, automatic}, again,     {needsRetryAgain, needsRetryAgain, needsConfirmation, leftQueue, needsRetryAgain, needsRetryAgain, needsRetryAgain, needsConfirmation}},
        StateRow{"completed, confirmed",       {completed, automatic}, confirmed, {needsRetryAgain, needsRetryAgain, allowed, leftQueue, needsRetryAgain, needsRetryAgain, needsRetryAgain, allowed}},
        StateRow{"completed, yes without again", {completed, automatic}, yesAlone, {needsRetryAgain, needsRetryAgain, needsRetryAgain, leftQueue, needsRetryAgain, needsRetryAgain, needsRetryAgain, allowed}},
        StateRow{"failed, again",              {failed, automatic},    again,     {needsRetry, needsRetry, allowed, leftQueue, needsRetry, needsRetry, needsRetry, allowed}},

        StateRow{"queued, with an open attempt",    {queued, automatic, true},    {}, {notHeld, allowed, allowed, allowed, allowed, allowed, allowed, toSettle}},
        StateRow{"cancelled, with an open attempt", {cancelled, automatic, true}, {}, {needsRetry, needsRetry, toSettle, leftQueue, needsRetry, needsRetry, needsRetry, toSettle}},
        StateRow{"completed, again, with an open attempt",     {completed, automatic, true}, again,     {needsRetryAgain, needsRetryAgain, needsConfirmation, leftQueue, needsRetryAgain, needsRetryAgain, needsRetryAgain, needsConfirmation}},
        StateRow{"completed, confirmed, with an open attempt", {completed, automatic, true}, confirmed, {needsRetryAgain, needsRetryAgain, toSettle, leftQueue, needsRetryAgain, needsRetryAgain, needsRetryAgain, toSettle}}));

constexpr auto worked = ItemWork::session;
constexpr auto settled = ItemWork::none;
constexpr QueueActionVerdict settling = sessionReconciles;

/// The home's owner knows who works on an item, and can end its session.
INSTANTIATE_TEST_SUITE_P(
    OfTheOwner, QueueActionVerdictTest,
    testing::Values(
        //                                                                                 start       next        retry       cancel      moveToManual moveToAuto  reorder     remove
        StateRow{"running, worked on",      {running, automatic, true, true, worked},  {}, {isStarted, agentWorks, agentWorks, allowed, agentWorks, agentWorks, agentWorks, agentWorks}},
        StateRow{"reported, being stopped", {codexCompleted, automatic, true, true, worked}, {}, {sessionEnds, sessionEnds, sessionEnds, sessionEnds, sessionEnds, sessionEnds, sessionEnds, sessionEnds}},
        StateRow{"held, its end not known", {queued, manual, true, true, settled}, {}, {allowed, allowed, allowed, allowed, allowed, allowed, allowed, toSettle}},
        StateRow{"failed, its end not known", {failed, automatic, true, true, settled}, {}, {needsRetry, needsRetry, toSettle, leftQueue, needsRetry, needsRetry, needsRetry, toSettle}},
        StateRow{"queued, worked on before", {queued, automatic, false, true, settled, true}, {}, {notHeld, allowed, allowed, allowed, allowed, allowed, allowed, needsConfirmation}},
        StateRow{"failed, worked on before", {failed, automatic, false, true, settled, true}, {}, {needsRetry, needsRetry, allowed, leftQueue, needsRetry, needsRetry, needsRetry, needsConfirmation}},
        StateRow{"failed, worked on before, confirmed", {failed, automatic, false, true, settled, true}, confirmed, {needsRetry, needsRetry, allowed, leftQueue, needsRetry, needsRetry, needsRetry, allowed}},
        StateRow{"queued, being prepared",  {queued, automatic, false, true, worked},  {}, {isStarted, agentWorks, agentWorks, allowed, agentWorks, agentWorks, agentWorks, agentWorks}},
        StateRow{"running, being settled",  {running, automatic, true, true, ItemWork::reconciliation}, {}, {settling, settling, settling, toSettle, toSettle, settling, settling, settling}},
        StateRow{"failed, being settled",   {failed, automatic, true, true, ItemWork::reconciliation}, {}, {needsRetry, needsRetry, settling, leftQueue, needsRetry, needsRetry, needsRetry, settling}},
        StateRow{"cancelled, being stopped", {cancelled, automatic, true, true, worked}, {}, {needsRetry, needsRetry, sessionEnds, leftQueue, needsRetry, needsRetry, needsRetry, sessionEnds}},
        StateRow{"completed, being retired", {completed, automatic, false, true, ItemWork::retirement}, confirmed, {needsRetryAgain, needsRetryAgain, sessionEnds, leftQueue, needsRetryAgain, needsRetryAgain, needsRetryAgain, sessionEnds}},
        StateRow{"queued",                  {queued, automatic, false, true, settled}, {}, {notHeld,    allowed,    allowed,    allowed,    allowed,     allowed,    allowed,    allowed}},
        StateRow{"failed",                  {failed, automatic, false, true, settled}, {}, {needsRetry, needsRetry, allowed,    leftQueue,  needsRetry,  needsRetry, needsRetry, allowed}}));
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
        SentenceRow{agentWorks,
                    "an agent works on it; stop that first with: quernlight-dispatch sessions stop 3f2a9c1d"},
        SentenceRow{sessionEnds, "its session is just being ended; try again in a moment."},
        SentenceRow{isStarted,
                    "an agent works on it already; see: quernlight-dispatch sessions show 3f2a9c1d"},
        SentenceRow{sessionReconciles,
                    "what its last session has come to is being found out; try again once it is known, see: "
                    "quernlight-dispatch status"},
        SentenceRow{sessionUnreconciled,
                    "what its last session has come to is not known yet; have that found out, and the bug "
                    "held, with: quernlight-dispatch queue hold 3f2a9c1d"}));

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
