#include "quernlight/dispatch/completion_detector.hpp"

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quernlight {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr auto queueItemText = "ABCDEF00-0000-4000-8000-00000000000A";
constexpr auto sessionText = "ABCDEF00-0000-4000-8000-00000000000B";

/// A run and the comments on its bug. `agentComment` is one that ends the run; tests spoil it.
class CompletionDetectorTest : public testing::Test {
  protected:
    static QLCommentDTO agentComment(const std::string& status = "in_review") {
        QLCommentDTO comment;
        comment.id = randomUuid();
        comment.createdAt = start + seconds(60);
        comment.authorType = "agent";
        comment.metadata = metadata(queueItemText, sessionText, status);
        return comment;
    }

    static JSONValue metadata(const std::string& queueItem, const std::string& session,
                              const std::string& status) {
        return JSONValue::object({{"queue_item_id", JSONValue::string(queueItem)},
                                  {"session_id", JSONValue::string(session)},
                                  {"status", JSONValue::string(status)}});
    }

    /// The agent's comment with one member of its metadata replaced, or left out when that is null.
    static QLCommentDTO withMember(const std::string& name, const JSONValue& value) {
        QLCommentDTO comment = agentComment();
        JSONValue::Object members = *comment.metadata->objectValue();
        members[name] = value;
        if (value.isNull()) {
            members.erase(name);
        }
        comment.metadata = JSONValue::object(std::move(members));
        return comment;
    }

    static QLCommentDTO createdAt(milliseconds sinceStart) {
        QLCommentDTO comment = agentComment();
        comment.createdAt = start + sinceStart;
        return comment;
    }

    std::optional<CompletionOutcome> outcome(std::vector<QLCommentDTO> comments) const {
        const auto detection = CompletionDetector::detectOutcome(comments, state_);
        return detection ? std::optional(detection->outcome) : std::nullopt;
    }

    bool detected(const QLCommentDTO& comment) const { return outcome({comment}).has_value(); }

    static constexpr Instant start{std::chrono::sys_days(std::chrono::year{2026} / 3 / 4)};
    CompletionPollState state_{.sessionID = *parseUuid(sessionText),
                               .queueItemID = *parseUuid(queueItemText),
                               .bugID = "abcdef00",
                               .startedAt = start};
};

/// What a status says of the agent's work; nothing when it ends no run.
struct StatusMeaning {
    std::string name;
    std::string status;
    std::optional<CompletionOutcome> outcome;
};

constexpr auto completes = CompletionOutcome::completed;
constexpr auto investigates = CompletionOutcome::investigate;

TEST_F(CompletionDetectorTest, AStatusMeansWhatTheTableSays) {
    const StatusMeaning rows[] = {
        {"InReview", "in_review", completes},
        {"InReviewInWords", "in review", completes},
        {"InReviewInCapitals", "IN_REVIEW", completes},
        {"InReviewWithLeadingBlanksAndALineFeed", "  In Review\n", completes},
        {"InReviewBetweenTabsAndLineBreaks", "\t\r\nin_review\u2028", completes},
        {"Investigate", "investigate", investigates},
        {"InvestigateInCapitalsWithBlanks", " INVESTIGATE ", investigates},
        {"InReviewWithAHyphen", "in-review", std::nullopt},
        {"InReviewWithTwoBlanks", "in  review", std::nullopt},
        {"Investigating", "investigating", std::nullopt},
        {"Done", "done", std::nullopt},
        {"Open", "open", std::nullopt},
        {"Empty", "", std::nullopt},
    };
    for (const StatusMeaning& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(outcome({agentComment(row.status)}), row.outcome);
    }
}

TEST_F(CompletionDetectorTest, ACommentFromShortlyBeforeTheStartCounts) {
    EXPECT_TRUE(detected(createdAt(seconds(-4))));
    EXPECT_TRUE(detected(createdAt(seconds(-5))));
    EXPECT_FALSE(detected(createdAt(milliseconds(-5001))));
    EXPECT_FALSE(detected(createdAt(seconds(-6))));
}

TEST_F(CompletionDetectorTest, TheCaseOfIdentifiersDoesNotMatter) {
    EXPECT_TRUE(
        detected(withMember("queue_item_id", JSONValue::string("abcdef00-0000-4000-8000-00000000000a"))));
    EXPECT_TRUE(
        detected(withMember("session_id", JSONValue::string("abcdef00-0000-4000-8000-00000000000b"))));
}

TEST_F(CompletionDetectorTest, OnlyAnAuthorSpelledAgentQualifies) {
    QLCommentDTO comment = agentComment();
    comment.authorType = "Agent";
    EXPECT_FALSE(detected(comment));
    comment.authorType = " agent";
    EXPECT_FALSE(detected(comment));
    comment.authorType = "user";
    EXPECT_FALSE(detected(comment));
    comment.authorType = std::nullopt;
    EXPECT_FALSE(detected(comment));
}

TEST_F(CompletionDetectorTest, MetadataThatIsNoObjectEndsNothing) {
    QLCommentDTO comment = agentComment();
    const JSONValue object = *comment.metadata;
    for (const JSONValue& other : {JSONValue::string("in_review"), JSONValue::array({object}),
                                   JSONValue::number(1), JSONValue::boolean(true), JSONValue::null()}) {
        comment.metadata = other;
        EXPECT_FALSE(detected(comment));
    }
    comment.metadata = std::nullopt;
    EXPECT_FALSE(detected(comment));
}

TEST_F(CompletionDetectorTest, FurtherMembersOfTheMetadataDoNotMatter) {
    EXPECT_TRUE(detected(withMember("pr_url", JSONValue::string("https://git.example/acme/shop/pull/7"))));
}

TEST_F(CompletionDetectorTest, AMemberThatIsMissingOrNoTextEndsNothing) {
    for (const auto* member : {"queue_item_id", "session_id", "status"}) {
        EXPECT_FALSE(detected(withMember(member, JSONValue::null()))) << member;
        EXPECT_FALSE(detected(withMember(member, JSONValue::number(1)))) << member;
    }
}

TEST_F(CompletionDetectorTest, ACommentOfAnotherRunOrItemIsIgnored) {
    EXPECT_FALSE(detected(withMember("session_id", JSONValue::string(queueItemText))));
    EXPECT_FALSE(detected(withMember("queue_item_id", JSONValue::string(sessionText))));
}

TEST_F(CompletionDetectorTest, OfTwoQualifyingCommentsTheEarlierInTheListWins) {
    const QLCommentDTO other = withMember("session_id", JSONValue::string(queueItemText));
    const QLCommentDTO first = agentComment("investigate");
    const auto detection = CompletionDetector::detectOutcome({other, first, agentComment()}, state_);
    EXPECT_EQ(detection, (CompletionDetection{.comment = first, .outcome = CompletionOutcome::investigate}));
}

TEST_F(CompletionDetectorTest, TheEarlierInTheListWinsEvenWhenItIsTheYounger) {
    const QLCommentDTO younger = createdAt(seconds(90));
    const QLCommentDTO older = createdAt(seconds(30));
    EXPECT_EQ(CompletionDetector::detectOutcome({younger, older}, state_)->comment, younger);
}

TEST_F(CompletionDetectorTest, AnEarlierRunsCommentDoesNotHideThatOfThisRun) {
    const QLCommentDTO old = createdAt(seconds(-3600));
    const QLCommentDTO current = agentComment("investigate");
    EXPECT_EQ(CompletionDetector::detectOutcome({old, current}, state_)->comment, current);
}

TEST_F(CompletionDetectorTest, WhatTheCallerHasSeenAlreadyIsNotReadHere) {
    state_.lastSeenCommentCreatedAt = start + std::chrono::hours(24);
    EXPECT_TRUE(detected(agentComment()));
}

TEST_F(CompletionDetectorTest, AnIdWithBlanksAroundDoesNotMatch) {
    EXPECT_FALSE(detected(withMember("queue_item_id", JSONValue::string(std::string(queueItemText) + " "))));
    EXPECT_FALSE(detected(withMember("session_id", JSONValue::string(std::string(" ") + sessionText))));
}

TEST_F(CompletionDetectorTest, DetectCompletionLooksNoFurtherThanTheCommentThatIsDetected) {
    EXPECT_EQ(CompletionDetector::detectCompletion({agentComment("investigate"), agentComment()}, state_),
              std::nullopt);
}

TEST_F(CompletionDetectorTest, DetectCompletionReturnsTheCommentThatCompletes) {
    const QLCommentDTO completing = agentComment();
    EXPECT_EQ(CompletionDetector::detectCompletion({completing}, state_), completing);
    EXPECT_EQ(CompletionDetector::detectCompletion({}, state_), std::nullopt);
    EXPECT_EQ(outcome({}), std::nullopt);
}

TEST_F(CompletionDetectorTest, DetectCompletionReturnsNothingForAnInvestigation) {
    EXPECT_EQ(CompletionDetector::detectCompletion({agentComment("investigate")}, state_), std::nullopt);
}

}  // namespace
}  // namespace quernlight
