#include <atomic>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/json/serialize.hpp>
#include <gmock/gmock.h>

#include "host/control/control_server.hpp"
#include "host/service/event_resource.hpp"
#include "host/service/queue_json.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

/// Listens on a home's socket, from a thread of its own, as an owner of the bug 3f2a9c1d.
class TellingOwner {
  public:
    explicit TellingOwner(const std::filesystem::path& home, host::SessionStage stage) : stage_(stage) {
        events_.offerOn(router_);
        router_.add("GET", "/v1/bugs/*/state", host::Audience::people,
                    [this](const host::ControlRequest&) { return state(); });
        control_ = std::make_unique<host::ControlServer>(io_.get_executor(), home, router_, clock_);
        thread_ = std::thread([this] { io_.run(); });
    }
    TellingOwner(const TellingOwner&) = delete;
    TellingOwner& operator=(const TellingOwner&) = delete;
    ~TellingOwner() {
        boost::asio::co_spawn(io_, control_->end(), boost::asio::use_future).get();
        thread_.join();
    }

    /// Of one bug; that of 3f2a9c1d is known to have it from then on.
    void progress(const std::string& bugID, host::SessionStage stage, const std::string& detail = "") {
        boost::asio::post(io_, [this, bugID, stage, detail] {
            stage_ = bugID == "3f2a9c1d" ? stage : stage_;
            publisher_.progress({.bugID = bugID, .stage = stage, .detail = detail});
        });
    }
    int asked() const { return asked_; }

  private:
    Task<host::ControlResponse> state() {
        ++asked_;
        BugQueueItem item{
            .id = randomUuid(), .bugID = "3f2a9c1d", .bugURL = *Url::parse("https://bugs.example/1")};
        host::BugState state{.bugID = "3f2a9c1d"};
        state.queued = host::QueueItemDetails{.item = std::move(item), .stage = stage_};
        co_return host::ControlResponse{.body = boost::json::serialize(host::jsonOf(state))};
    }

    boost::asio::io_context io_;
    host::SystemClock clock_;
    host::EventPublisher publisher_;
    host::EventResource events_{publisher_, clock_};
    host::ControlRouter router_;
    host::SessionStage stage_;
    std::atomic<int> asked_ = 0;
    std::unique_ptr<host::ControlServer> control_;
    std::thread thread_;
};

class QueueWaitTest : public test::DispatchFixture {
  protected:
    QueueWaitTest() {
        reportClearBug("3f2a9c1d");
        startBackend();
        runOnce();
    }
    std::unique_ptr<test::DispatchProcess> wait() {
        return start(
            {"queue", "wait", "3f2a9c1d", "--until", "in review", "--exit-status", "--home", home()});
    }
};

TEST_F(QueueWaitTest, AsksOnlyWhenSomethingHasHappenedToItsBug) {
    TellingOwner owner(home(), host::SessionStage::working);
    const auto waiting = wait();
    ASSERT_TRUE(test::eventually([&] { return owner.asked() >= 2; }))
        << waiting->errorText();  // at first, and once it is told
    for (int count = 0; count < 20; ++count) {
        owner.progress("11111111", host::SessionStage::failed);
        owner.progress("3f2a9c1d", host::SessionStage::working, "Line " + std::to_string(count));
    }
    const int before = owner.asked();
    owner.progress("3f2a9c1d", host::SessionStage::inReview);
    EXPECT_EQ(waiting->exitCode(), 0) << waiting->errorText();
    EXPECT_LE(owner.asked(), before + 2);  // the first stage that is told of a bug is a new one
}

TEST_F(QueueWaitTest, AnOwnerThatEndsIsWaitedForAndTheNextOneAsked) {
    auto owner = std::make_unique<TellingOwner>(home(), host::SessionStage::working);
    const auto waiting = wait();
    ASSERT_TRUE(test::eventually([&] { return owner->asked() >= 2; })) << waiting->errorText();
    owner.reset();
    owner = std::make_unique<TellingOwner>(home(), host::SessionStage::inReview);
    EXPECT_EQ(waiting->exitCode(), 0) << waiting->errorText();
}

}  // namespace
}  // namespace quernlight
