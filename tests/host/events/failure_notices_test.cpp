#include "host/events/failure_notices.hpp"

#include <optional>
#include <stdexcept>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <gmock/gmock.h>

#include "quernlight/platform/task.hpp"
#include "tests/host/published_events.hpp"

namespace quernlight::host {
namespace {

class FailureNoticesTest : public testing::Test {
  protected:
    static void fail() { reportFailure("reader", std::make_exception_ptr(std::runtime_error("no room"))); }

    boost::asio::io_context io;
    EventPublisher events;
    test::PublishedEvents published{events};
    std::optional<FailureNotices> redirected{std::in_place, io.get_executor(), events};
};

TEST_F(FailureNoticesTest, AFailureOfAnyThreadIsPublishedByThePublishersOwnThread) {
    testing::internal::CaptureStderr();
    std::thread(fail).join();
    EXPECT_THAT(published.notices, testing::IsEmpty());
    io.run();
    EXPECT_THAT(published.notices, testing::ElementsAre("reader: no room"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(FailureNoticesTest, AfterwardsFailuresGoToStandardErrorAgain) {
    redirected.reset();
    testing::internal::CaptureStderr();
    fail();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "reader: no room\n");
}

}  // namespace
}  // namespace quernlight::host
