#include "host/service/queue_text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/events/session_stage.hpp"

namespace quernlight::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

TEST(QueueTextTest, AStopSaysWhatIsTrueOfTheBugThen) {
    struct Row {
        const char* name;
        QueueItemStatus status;
        QueueMode mode;
        SessionStage stage;
        const char* says;
        bool mayResume;
    };
    using enum QueueItemStatus;
    const Row rows[] = {
        {"its agent runs", running, QueueMode::automatic, SessionStage::working, "its agent is being stopped",
         true},
        {"it was cut off, and is held now", queued, QueueMode::manual, SessionStage::needsStart,
         "needs start; it goes on", true},
        {"what it has come to is not known", running, QueueMode::automatic, SessionStage::toReconcile,
         "to be held once", false},
        {"it had finished", completed, QueueMode::automatic, SessionStage::inReview,
         "in review; its session had ended before, so there was nothing to stop; review and merge", false},
        {"it had failed", failed, QueueMode::automatic, SessionStage::failed, "queue retry 11111111", false},
        {"it had failed when it was held", failed, QueueMode::manual, SessionStage::failed, "nothing to stop",
         false},
        {"it asks", awaitingUserInput, QueueMode::automatic, SessionStage::needsReply,
         "answer it: quernlight-dispatch answer 11111111 TEXT", false},
    };
    for (const Row& row : rows) {
        QueueEntry entry{.stage = row.stage};
        entry.item.bugID = "11111111";
        entry.item.status = row.status;
        entry.item.queueMode = row.mode;
        const std::string sentence = stopSentence(entry);
        EXPECT_THAT(sentence, HasSubstr(row.says)) << row.name;
        EXPECT_EQ(sentence.find("sessions resume 11111111") != sentence.npos, row.mayResume) << row.name;
    }
}

}  // namespace
}  // namespace quernlight::host
