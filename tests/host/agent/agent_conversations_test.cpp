#include "host/agent/agent_conversations.hpp"

#include <gtest/gtest.h>

#include "host/events/item_history.hpp"

namespace quernlight::host {
namespace {

const Uuid first = *parseUuid("11111111-0000-4000-8000-000000000001");
const Uuid second = *parseUuid("22222222-0000-4000-8000-000000000002");

/// An item that has a conversation, and what its agent said of conversations.
class ConversationToResumeTest : public testing::Test {
  protected:
    void deny(const Uuid& conversation) {
        QueueEvent& event = events.emplace_back();
        event.kind = storedText(EventKind::conversationUnknown);
        event.metadataJSON = unknownConversationMetadata(conversation);
    }
    std::optional<Uuid> resumed(const std::optional<Uuid>& canonical) const {
        return conversationToResume(item, canonical, events);
    }

    BugQueueItem item{.codexSessionID = first};
    std::vector<QueueEvent> events;
};

TEST_F(ConversationToResumeTest, IsTheBugsCanonicalOne) {
    item.codexSessionID = second;
    EXPECT_EQ(resumed(first), first);
}

TEST_F(ConversationToResumeTest, IsTheItemsWhereNoAttemptHasOne) {
    EXPECT_EQ(resumed(std::nullopt), first);
}

TEST_F(ConversationToResumeTest, IsNoneForAnItemWithout) {
    item.codexSessionID.reset();
    EXPECT_EQ(resumed(first), std::nullopt);
}

TEST_F(ConversationToResumeTest, IsNotOneThatTheAgentDenied) {
    deny(first);
    EXPECT_EQ(resumed(first), std::nullopt);
}

TEST_F(ConversationToResumeTest, IsTheFreshOneAfterTheFirstWasDenied) {
    deny(first);
    item.codexSessionID = second;
    EXPECT_EQ(resumed(first), second);
}

}  // namespace
}  // namespace quernlight::host
