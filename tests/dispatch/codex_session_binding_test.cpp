#include <gmock/gmock.h>

#include "quernlight/dispatch/queue_manager.hpp"
#include "tests/dispatch/session_reports_fixture.hpp"

namespace quernlight {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum QueueItemStatus;

/// Binding a bug to the agent's own conversation.
using CodexSessionBindingTest = SessionReportsFixture;

TEST_F(CodexSessionBindingTest, TheFirstConversationIsStored) {
    run(manager_.setCodexSession(bug_, conversation, false));
    EXPECT_EQ(bugItem().codexSessionID, conversation);
    EXPECT_THAT(bugEvents(),
                ElementsAre(ItemEvent{
                    .kind = "codexSessionStored",
                    .message = "Stored Codex session for future resume.",
                    .metadataJSON = R"({"codex_session_id":"C0DE0000-0000-0000-0000-00000000000A"})"}));
}

TEST_F(CodexSessionBindingTest, TheConversationThatIsStoredAlreadyIsNotWrittenAgain) {
    run(manager_.setCodexSession(bug_, conversation, false));
    forgetEvents();
    refuseUpdates();
    run(manager_.setCodexSession(bug_, conversation, false));
    run(manager_.setCodexSession(bug_, conversation, true));
    EXPECT_THAT(bugEvents(), IsEmpty());
}

TEST_F(CodexSessionBindingTest, AnotherConversationIsIgnoredAndToldSo) {
    run(manager_.setCodexSession(bug_, conversation, false));
    forgetEvents();
    refuseUpdates();
    run(manager_.setCodexSession(bug_, otherConversation, false));
    EXPECT_EQ(bugItem().codexSessionID, conversation);
    EXPECT_THAT(
        bugEvents(),
        ElementsAre(ItemEvent{
            .kind = "codexSessionPreserved",
            .message = "Ignored a different Codex session because this bug is already mapped to a session.",
            .metadataJSON = R"({"existing_codex_session_id":"C0DE0000-0000-0000-0000-00000000000A",)"
                            R"("ignored_codex_session_id":"C0DE0000-0000-0000-0000-00000000000B"})"}));
}

TEST_F(CodexSessionBindingTest, AnotherConversationReplacesTheStoredOneWhenAskedTo) {
    run(manager_.setCodexSession(bug_, conversation, false));
    forgetEvents();
    run(manager_.setCodexSession(bug_, otherConversation, true));
    EXPECT_EQ(bugItem().codexSessionID, otherConversation);
    EXPECT_THAT(bugEvents(),
                ElementsAre(ItemEvent{
                    .kind = "codexSessionRestored",
                    .message = "Restored this bug to its canonical Codex session.",
                    .metadataJSON = R"({"previous_codex_session_id":"C0DE0000-0000-0000-0000-00000000000A",)"
                                    R"("codex_session_id":"C0DE0000-0000-0000-0000-00000000000B"})"}));
}

TEST_F(CodexSessionBindingTest, TheConversationIsReplacedBeforeTheHistoryTellsSo) {
    setOut(running);
    run(manager_.setCodexSession(bug_, conversation, false));
    recordWrites();
    run(manager_.setCodexSession(bug_, otherConversation, true));
    EXPECT_THAT(writes(), ElementsAre("update bug 1 running", "event codexSessionRestored"));
}

TEST_F(CodexSessionBindingTest, AConversationChangesNothingElseOfTheItem) {
    setOut(running);
    BugQueueItem expected = bugItem();
    expected.codexSessionID = conversation;
    run(manager_.setCodexSession(bug_, conversation, false));
    EXPECT_EQ(bugItem(), expected);
}

TEST_F(CodexSessionBindingTest, TheFirstConversationIsStoredNotRestoredWhenOverwritingIsAsked) {
    run(manager_.setCodexSession(bug_, conversation, true));
    EXPECT_EQ(bugEvents().at(0).kind, "codexSessionStored");
}

TEST_F(CodexSessionBindingTest, AnItemThatHasLeftTheQueueStillTakesItsConversation) {
    for (const QueueItemStatus left : {completed, failed, cancelled, awaitingUserInput}) {
        setStatus("bug", left);
        run(manager_.setCodexSession(bug_, randomUuid(), true));
    }
    EXPECT_EQ(bugEvents().size(), 4U);
}

}  // namespace
}  // namespace quernlight
