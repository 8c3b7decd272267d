#include <gmock/gmock.h>

#include "host/dispatcher/dispatcher.hpp"
#include "tests/host/services_fixture.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// The loop against a backend that is asked for bugs every twentieth of a second while it is well.
class DispatcherIntakeTest : public test::ServicesFixture {
  protected:
    DispatcherIntakeTest() { settings.pollBugsSeconds = 0.05; }

    /// Runs the loop for a while after the backend has become unwell.
    void runWhileUnwell(std::chrono::milliseconds time) {
        ChildTask loop(io.get_executor(), "the loop", dispatcher.run());
        io.restart();
        while (healthChanges.empty() && io.run_one_for(quernlight::test::generousBound) > 0) {
        }
        io.run_for(time);
        dispatcher.stop();
        run(loop.end());
    }

    LiveSettings live{SettingsStore(store.database), {}};
    Dispatcher dispatcher{services, live, {}};
};

TEST_F(DispatcherIntakeTest, AfterFailuresTheListIsAskedForLessAndLessOften) {
    for (int answer = 0; answer < 100; ++answer) {
        server.answer({.status = 503});
    }
    runWhileUnwell(std::chrono::milliseconds(1500));
    EXPECT_LE(server.requests().size(), 7U);
    EXPECT_THAT(healthChanges, ElementsAre(HasSubstr("503")));
}

TEST_F(DispatcherIntakeTest, TheListIsNotAskedForBeforeTheBackendWantsThat) {
    for (int answer = 0; answer < 100; ++answer) {
        server.answer({.status = 429, .headers = {{"Retry-After", "3600"}}});
    }
    runWhileUnwell(std::chrono::milliseconds(500));
    EXPECT_EQ(server.requests().size(), 1U);
}

}  // namespace
}  // namespace quernlight::host
