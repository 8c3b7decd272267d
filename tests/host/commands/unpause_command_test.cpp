#include <thread>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/json/parse.hpp>
#include <gmock/gmock.h>

#include "host/control/control_server.hpp"
#include "host/process/process_tree.hpp"
#include "host/service/start_resource.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::AllOf;
using testing::HasSubstr;

/// Listens on a home's socket, from a thread of its own, as an owner that starts no bug for ten minutes.
class PausedOwner {
  public:
    explicit PausedOwner(const std::filesystem::path& home) {
        pauses_.failed({.cause = "The agent's use is limited.", .lasts = std::chrono::seconds(600)},
                       clock_.steadyNow());
        resource_.offerOn(router_);
        control_ = std::make_unique<host::ControlServer>(io_.get_executor(), home, router_, clock_);
        thread_ = std::thread([this] { io_.run(); });
    }
    PausedOwner(const PausedOwner&) = delete;
    PausedOwner& operator=(const PausedOwner&) = delete;
    ~PausedOwner() {
        boost::asio::co_spawn(io_, control_->end(), boost::asio::use_future).get();
        thread_.join();
    }

  private:
    boost::asio::io_context io_;
    host::SystemClock clock_;
    host::StartPauses pauses_{[](const std::string&, const std::string&) {}};
    host::StartResource resource_{{.pauses = pauses_, .clock = clock_, .lookNow = [] {}}};
    host::ControlRouter router_;
    std::unique_ptr<host::ControlServer> control_;
    std::thread thread_;
};

class UnpauseCommandTest : public test::DispatchFixture {
  protected:
    UnpauseCommandTest() { mapApp(); }
    test::Outcome unpause(const std::vector<std::string>& more = {}) {
        std::vector<std::string> words{"unpause", "--home", home()};
        words.insert(words.end(), more.begin(), more.end());
        return dispatch(words);
    }
};

TEST_F(UnpauseCommandTest, HasTheOwnerTryAtOnceAndSaysWhatWasInForce) {
    const PausedOwner owner(home());
    const auto outcome = unpause();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.output, AllOf(HasSubstr("Starts are tried again now: it had paused for another "),
                                      HasSubstr(" min because: The agent's use is limited.\n")));
    EXPECT_EQ(unpause().output, "No pause of starts was in force.\n");
}

TEST_F(UnpauseCommandTest, ForProgramsWhatWasInForceIsAnArrayInAnObject) {
    const PausedOwner owner(home());
    const auto ended = boost::json::parse(unpause({"--json"}).output).as_object();
    EXPECT_EQ(ended.size(), 1U);
    EXPECT_EQ(ended.at("ended").as_array().size(), 1U);
    EXPECT_EQ(ended.at("ended").at(0).at("cause").as_string(), "The agent's use is limited.");
    EXPECT_EQ(unpause({"--json"}).output, "{\"ended\":[]}\n");
}

TEST_F(UnpauseCommandTest, WithoutAnOwnerItSaysThatNoneRuns) {
    const auto outcome = unpause();
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, HasSubstr("No dispatcher is running for " + home().string() + ". "));
}

TEST_F(UnpauseCommandTest, AnAgentMayNot) {
    const PausedOwner owner(home());
    const auto mark = host::markOf(randomUuid());
    environment[mark.name] = mark.value;
    EXPECT_EQ(unpause().exitCode, 1);
    EXPECT_THAT(unpause().error, HasSubstr("This is for people only"));
}

}  // namespace
}  // namespace quernlight
