#include "host/agent/agent_conversations.hpp"

#include <ostream>

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
        event.metadataJSON = conversationMetadata(conversation);
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

struct Resumptions {
    const char* name;
    std::string
        events;  // r: ended when resumed, o: when the other one was, e: as a fresh one, a: took a goal
    bool areInVain;
};

void PrintTo(const Resumptions& row, std::ostream* out) {
    *out << row.name;
}

class WasResumedInVainTest : public testing::TestWithParam<Resumptions> {
  protected:
    static QueueEvent event(char what) {
        QueueEvent event;
        event.kind = storedText(what == 'a' ? EventKind::goalAccepted : EventKind::agentBlocked);
        if (what == 'r' || what == 'o') {
            event.metadataJSON = conversationMetadata(what == 'r' ? first : second);
        }
        return event;
    }
};

TEST_P(WasResumedInVainTest, IsToldByTheLastTwoEndings) {
    std::vector<QueueEvent> events;
    for (const char what : GetParam().events) {
        events.push_back(event(what));
        events.emplace_back().kind = storedText(EventKind::resumable);
    }
    EXPECT_EQ(wasResumedInVain(first, events), GetParam().areInVain);
}

INSTANTIATE_TEST_SUITE_P(Rows, WasResumedInVainTest,
                         testing::Values(Resumptions{"never", "", false}, Resumptions{"once", "r", false},
                                         Resumptions{"twice", "rr", true},
                                         Resumptions{"twice, then a fresh one was tried", "rre", false},
                                         Resumptions{"once more after that", "rrer", false},
                                         Resumptions{"twice more after that", "rrerr", true},
                                         Resumptions{"with a goal taken in between", "rar", false},
                                         Resumptions{"another one", "oo", false}));

}  // namespace
}  // namespace quernlight::host
