#pragma once

#include <vector>

#include "tests/dispatch/queue_manager_fixture.hpp"

namespace quernlight {

inline const Uuid session = *parseUuid("5E550000-0000-0000-0000-00000000000a");
inline const Uuid earlierSession = *parseUuid("5E550000-0000-0000-0000-00000000000b");
inline const Uuid comment = *parseUuid("c0330000-0000-0000-0000-0000000000ff");
inline const Uuid conversation = *parseUuid("c0de0000-0000-0000-0000-00000000000a");
inline const Uuid otherConversation = *parseUuid("c0de0000-0000-0000-0000-00000000000b");

/// A mapped app's queue with the bugs "head", "bug" and "tail"; the reports are about "bug".
class SessionReportsFixture : public QueueManagerFixture {
  protected:
    SessionReportsFixture() {
        mapApp();
        enqueueAll({"head", "bug", "tail"});
        bug_ = id("bug");
        forgetEvents();
    }

    /// Stores the bug as an earlier, failed run would have left it in this status.
    void setOut(QueueItemStatus status) {
        BugQueueItem changed = item("bug");
        changed.status = status;
        changed.activeSessionID = earlierSession;
        changed.errorMessage = "It broke.";
        changed.startedAt = longAgo;
        store(changed);
    }

    BugQueueItem bugItem() { return item("bug"); }
    std::vector<ItemEvent> bugEvents() { return events("bug"); }

    Uuid bug_{};
};

}  // namespace quernlight
