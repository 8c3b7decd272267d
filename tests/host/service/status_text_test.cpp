#include "host/service/status_text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/events/session_stage.hpp"

namespace quernlight::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// A bug whose session was begun, beside one that is queued.
DispatchStatus oneBegun(std::size_t sessions = 1) {
    DispatchStatus status{.agent = "codex"};
    for (std::size_t number = 0; number < sessions; ++number) {
        const std::string bugID = "1111111" + std::to_string(number);
        QueueEntry entry{.stage = SessionStage::toReconcile};
        entry.item.bugID = bugID;
        status.queue.push_back(entry);
        status.sessions.push_back({.bugID = bugID, .appName = "Shop", .stage = SessionStage::toReconcile});
    }
    status.queue.push_back({.stage = SessionStage::queued});
    return status;
}

std::string textOf(const DispatchStatus& status) {
    return statusText(status, {.columns = 200}, Instant(), std::chrono::seconds(0));
}

TEST(StatusTextTest, WithoutADispatcherWhatItHadBegunIsInterrupted) {
    EXPECT_THAT(
        textOf(oneBegun()),
        AllOf(HasSubstr("none at work (codex); 1 session was interrupted, and goes on at the next run\n"),
              HasSubstr("queue       1 interrupted, 1 queued\n"), HasSubstr("Shop  interrupted"),
              Not(HasSubstr("running"))));
    EXPECT_THAT(textOf(oneBegun(2)), HasSubstr("; 2 sessions were interrupted, and go on at the next run\n"));
    EXPECT_THAT(textOf(oneBegun(0)), HasSubstr("none at work (codex)\n"));
}

TEST(StatusTextTest, ADispatcherFindsOutWhatItHasComeTo) {
    DispatchStatus status = oneBegun();
    status.health.owner = OwnerReport{.pid = 7, .maxSessions = 2};
    EXPECT_THAT(textOf(status), AllOf(HasSubstr("1 of 2 at work (codex)"), HasSubstr("to be reconciled"),
                                      Not(HasSubstr("interrupted"))));
}

}  // namespace
}  // namespace quernlight::host
