#include "host/events/history_look.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using enum EventKind;

using Events = std::vector<std::pair<EventKind, std::string>>;

std::vector<QueueEvent> historyOf(const Events& events) {
    std::vector<QueueEvent> history;
    for (const auto& [kind, message] : events) {
        history.push_back({.kind = std::string(storedText(kind)), .message = message});
    }
    return history;
}

struct Row {
    const char* name;
    Events events;
    SessionStage stage;
    const char* question;
};

TEST(HistoryLookTest, TheQuestionIsInTheAgentsOwnWordsWhereTheyAreStored) {
    const auto needsReply = SessionStage::needsReply;
    const std::vector<Row> rows{
        {"in its comment",
         {{startingCodex, ""}, {questionAsked, "Which one?"}, {awaitingUserInput, "It asked."}},
         needsReply,
         "Which one?"},
        {"of an earlier version's",
         {{startingCodex, ""}, {awaitingUserInput, "It asked."}},
         needsReply,
         "It asked."},
        {"a second one",
         {{questionAsked, "Which one?"},
          {awaitingUserInput, ""},
          {startingCodex, ""},
          {questionAsked, "Why?"},
          {awaitingUserInput, ""}},
         needsReply,
         "Why?"},
        {"of the last session only",
         {{questionAsked, "Which one?"},
          {awaitingUserInput, ""},
          {startingCodex, ""},
          {awaitingUserInput, "It asked."}},
         needsReply,
         "It asked."},
        {"on its screen",
         {{needsPerson, "It asks to log in."}},
         SessionStage::needsPerson,
         "It asks to log in."},
        {"none that is open", {{questionAsked, "Which one?"}}, SessionStage::working, ""},
        {"none", {}, needsReply, ""},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(questionOf(historyOf(row.events), row.stage), row.question) << row.name;
    }
}

TEST(HistoryLookTest, WhatWasKeptIsNamedOnce) {
    std::vector<QueueEvent> history = historyOf(
        {{workPreserved, ""}, {failed, ""}, {workPreserved, ""}, {workPreserved, ""}, {workPreserved, ""}});
    history[0].metadataJSON = R"({"ref":"refs/a","commit":"1"})";
    history[1].metadataJSON = R"({"ref":"refs/no"})";
    history[2].metadataJSON = R"({"ref":"refs/b"})";
    history[3].metadataJSON = R"({"ref":"refs/a"})";
    history[4].metadataJSON = "no JSON";
    EXPECT_THAT(preservedReferences(history), testing::ElementsAre("refs/a", "refs/b"));
}

TEST(HistoryLookTest, AQuestionStandsUntilTheBugHasComeFurtherOrAPersonHasDoneSomething) {
    EXPECT_EQ(unansweredQuestion(historyOf({{needsPerson, "Trust?"}, {resumable, ""}, {startingCodex, ""}})),
              "Trust?");
    EXPECT_EQ(unansweredQuestion(historyOf({{needsPerson, "Trust?"}, {goalAccepted, ""}})), "");
    EXPECT_EQ(unansweredQuestion(historyOf({{awaitingUserInput, "Which?"}, {retried, ""}})), "");
    EXPECT_EQ(unansweredQuestion({}), "");
}

TEST(HistoryLookTest, TheEndOfALimitIsReadAsItWasStored) {
    const Instant until = parseInstant("2026-03-04T12:00:00Z").value();
    auto history = historyOf({{goalAccepted, ""}, {agentBlocked, "Limited until 12:00."}, {resumable, ""}});
    EXPECT_EQ(statedLimit(history), std::nullopt);
    history[1].metadataJSON = limitMetadata(until);
    EXPECT_EQ(statedLimit(history), (StatedLimit{.until = until, .cause = "Limited until 12:00."}));
}

}  // namespace
}  // namespace quernlight::host
