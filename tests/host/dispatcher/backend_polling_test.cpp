#include "host/dispatcher/backend_polling.hpp"

#include <gmock/gmock.h>

#include "tests/host/dispatcher/dispatcher_fixture.hpp"

namespace quernlight::host {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;

/// The loop against a backend that is to be asked for bugs every second while it is well.
class BackendPollingTest : public test::DispatcherFixture {
  protected:
    BackendPollingTest() { settings.pollBugsSeconds = 1; }

    void beginWithAnswer(const quernlight::test::ScriptedAnswer& answer) {
        server.answer(answer);
        begin();
        ASSERT_TRUE(until([&] { return !healthChanges.empty(); }));
    }
    std::size_t asked() const { return server.requests().size(); }
};

TEST_F(BackendPollingTest, AfterAFailureTheListIsAskedForLessOften) {
    beginWithAnswer({.status = 503});
    const auto failed = clock.steadyNow();
    EXPECT_THAT(healthChanges, ElementsAre(HasSubstr("503")));
    ASSERT_TRUE(until([&] { return asked() == 2; }));
    EXPECT_GE(clock.steadyNow() - failed, seconds(2));
}

TEST_F(BackendPollingTest, TheListIsNotAskedForBeforeTheBackendWantsThat) {
    beginWithAnswer({.status = 429, .headers = {{"Retry-After", "600"}}});
    pass(seconds(50));
    EXPECT_EQ(asked(), 1U);
    step(std::chrono::minutes(10));
    EXPECT_TRUE(until([&] { return asked() == 2; }));
}

}  // namespace
}  // namespace quernlight::host
