#include "host/notify/notification_choice.hpp"

#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/events/event_kind.hpp"

namespace quernlight::host {
namespace {

using enum EventKind;

struct ChoiceRow {
    const char* name;
    std::vector<DispatchEvent> events;
    std::vector<std::string> told;  ///< "EVENT BUG: MESSAGE"
};

void PrintTo(const ChoiceRow& row, std::ostream* out) {
    *out << row.name;
}

DispatchEvent happened(EventKind kind, const std::string& message = "Why.") {
    ItemChanged changed{.bugID = "3f2a9c1d"};
    changed.event.kind = storedText(kind);
    changed.event.message = message;
    return changed;
}

DispatchEvent shown(SessionStage stage) {
    return StageChanged{{.bugID = "3f2a9c1d", .stage = stage}};
}

DispatchEvent raised(AlertTopic topic, const std::string& sentence, const std::string& subject = "") {
    return AlertRaised{.key = {topic, subject}, .sentence = sentence};
}

DispatchEvent cleared(AlertTopic topic) {
    return AlertCleared{{topic, ""}};
}

const std::string waits =
    "needs-you 3f2a9c1d: The bug waits for a repository; name one with: quernlight-dispatch map set";

class NotificationChoiceTest : public testing::TestWithParam<ChoiceRow> {};

TEST_P(NotificationChoiceTest, TellsWhatAPersonWantsToKnowOnce) {
    NotificationChoice choice({});
    std::vector<std::string> told;
    for (const DispatchEvent& event : GetParam().events) {
        if (const auto notification = choice.notificationOf(event, {})) {
            told.push_back(std::string(nameOf(notification->kind)) + " " + notification->bugID + ": " +
                           notification->message);
        }
    }
    EXPECT_EQ(told, GetParam().told);
}

INSTANTIATE_TEST_SUITE_P(
    Table, NotificationChoiceTest,
    testing::Values(
        ChoiceRow{"a question on the agent's screen", {happened(needsPerson)}, {"needs-you 3f2a9c1d: Why."}},
        ChoiceRow{"a question in a comment", {happened(awaitingUserInput)}, {"needs-you 3f2a9c1d: Why."}},
        ChoiceRow{"the same question in the next attempts",
                  {happened(needsPerson), happened(resumable), happened(startingCodex), happened(agentExited),
                   happened(needsPerson), happened(resumable), happened(needsPerson)},
                  {"needs-you 3f2a9c1d: Why."}},
        ChoiceRow{"another question, and the first one again",
                  {happened(needsPerson), happened(needsPerson, "How?"), happened(needsPerson)},
                  {"needs-you 3f2a9c1d: Why.", "needs-you 3f2a9c1d: How?", "needs-you 3f2a9c1d: Why."}},
        ChoiceRow{"the same question after a goal was accepted",
                  {happened(needsPerson), happened(goalAccepted), happened(needsPerson)},
                  {"needs-you 3f2a9c1d: Why.", "needs-you 3f2a9c1d: Why."}},
        ChoiceRow{
            "the same question after a failure and a retry",
            {happened(awaitingUserInput), happened(failed), happened(retried), happened(awaitingUserInput)},
            {"needs-you 3f2a9c1d: Why.", "failed 3f2a9c1d: Why.", "needs-you 3f2a9c1d: Why."}},
        ChoiceRow{"completed, not while the agent is stopped",
                  {happened(codexCompleted), happened(completed)},
                  {"completed 3f2a9c1d: Why."}},
        ChoiceRow{"failed, and again after a retry",
                  {happened(failed), happened(retried), happened(failed, "Again.")},
                  {"failed 3f2a9c1d: Why.", "failed 3f2a9c1d: Again."}},
        ChoiceRow{"the same question, with another time counted in it",
                  {happened(needsPerson, "It waits for network (32s)."),
                   happened(needsPerson, "It waits for network (1s).")},
                  {"needs-you 3f2a9c1d: It waits for network (32s)."}},
        ChoiceRow{"merged again after it was worked on anew",
                  {happened(retired), happened(followUpWanted), happened(retired)},
                  {"merged 3f2a9c1d: Why.", "merged 3f2a9c1d: Why."}},
        ChoiceRow{"merged, in two goes", {happened(retired), happened(retired)}, {"merged 3f2a9c1d: Why."}},
        ChoiceRow{"nothing of the road",
                  {happened(enqueued), happened(startingCodex), happened(running), happened(typed),
                   happened(agentExited), happened(resumable), happened(cancelled),
                   shown(SessionStage::working), shown(SessionStage::failed)},
                  {}},
        ChoiceRow{"a new bug waits for a mapping",
                  {happened(enqueued), shown(SessionStage::needsMapping)},
                  {waits}},
        ChoiceRow{"a mapping that is gone",
                  {shown(SessionStage::queued), happened(mappingGone), happened(resumable),
                   shown(SessionStage::needsMapping)},
                  {waits}},
        ChoiceRow{"one that waited before this run", {shown(SessionStage::needsMapping)}, {}},
        ChoiceRow{"a pause, not that it is made longer",
                  {raised(AlertTopic::starts, "5 s"), raised(AlertTopic::starts, "10 s")},
                  {"paused : 5 s"}},
        ChoiceRow{"the next pause, after a goal was accepted",
                  {raised(AlertTopic::starts, "One."), happened(goalAccepted), cleared(AlertTopic::starts),
                   raised(AlertTopic::starts, "Two.")},
                  {"paused : One.", "paused : Two."}},
        ChoiceRow{"a pause that went on though no bug waited for a while",
                  {raised(AlertTopic::starts, "One."), cleared(AlertTopic::starts),
                   raised(AlertTopic::starts, "One."), raised(AlertTopic::starts, "Ten.")},
                  {"paused : One."}},
        ChoiceRow{
            "a pause that grows while another repository's goals are accepted",
            {raised(AlertTopic::starts, "5 s"), happened(goalAccepted), raised(AlertTopic::starts, "10 s")},
            {"paused : 5 s"}},
        ChoiceRow{"pauses of two repositories",
                  {raised(AlertTopic::starts, "One.", "/shop"), raised(AlertTopic::starts, "Two.", "/cart")},
                  {"paused : One.", "paused : Two."}},
        ChoiceRow{"no other alert, and no notice",
                  {raised(AlertTopic::backend, "It does not answer."), Notice{"It answers again."},
                   SettingChanged{"sessions.max is now 3."}},
                  {}}));

TEST(NotificationChoiceAskedTest, AQuestionThatAnEarlierRunHasToldIsNoNews) {
    NotificationChoice choice({}, {.questions = {{"3f2a9c1d", "Why."}}});
    EXPECT_FALSE(choice.notificationOf(happened(needsPerson), {}));
    EXPECT_TRUE(choice.notificationOf(happened(needsPerson, "How?"), {}));
}

TEST(NotificationChoiceAskedTest, APauseThatWasTakenOverIsNoNewsWhenAPersonEndsIt) {
    NotificationChoice choice({}, {.pauses = {{AlertTopic::starts, ""}}});
    EXPECT_FALSE(choice.notificationOf(raised(AlertTopic::starts, "Bugs are started now."), {}));
    EXPECT_FALSE(choice.notificationOf(cleared(AlertTopic::starts), {}));
    EXPECT_FALSE(choice.notificationOf(raised(AlertTopic::starts, "The same."), {}));
    choice.notificationOf(happened(goalAccepted), {});
    choice.notificationOf(cleared(AlertTopic::starts), {});
    EXPECT_TRUE(choice.notificationOf(raised(AlertTopic::starts, "Another."), {}));
}

TEST(NotificationChoiceAskedTest, WhatOneSessionAsksAfterAnAnswerIsNews) {
    NotificationChoice choice({});
    ItemChanged first{.bugID = "3f2a9c1d"};
    first.event.kind = storedText(needsPerson);
    first.event.message = "Run make test N=1?";
    first.event.sessionID = randomUuid();
    ItemChanged second = first;
    second.event.message = "Run make test N=2?";
    EXPECT_TRUE(choice.notificationOf(first, {}));
    EXPECT_TRUE(choice.notificationOf(second, {}));
    second.event.sessionID = randomUuid();
    EXPECT_FALSE(choice.notificationOf(second, {}));
}

TEST(NotificationChoiceNamesTest, ABugHasTheNamesThatTheQueueOrItsLastStageHas) {
    const BugQueueItem item{.bugID = "3f2a9c1d", .appName = "Shop", .title = "Crash"};
    NotificationChoice choice(std::vector{item});
    EXPECT_EQ(choice.notificationOf(happened(failed), {})->appName, "Shop");
    EXPECT_EQ(choice.notificationOf(happened(failed), {})->title, "Crash");
    choice.notificationOf(StageChanged{{.bugID = "3f2a9c1d", .appName = "Shop", .title = "Loss"}}, {});
    EXPECT_EQ(choice.notificationOf(happened(failed), {})->title, "Loss");
}

}  // namespace
}  // namespace quernlight::host
