#include "host/health/backend_health.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/backend/backend_error.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class BackendHealthTest : public testing::Test {
  protected:
    std::vector<std::string> told;
    SystemClock clock;
    BackendHealth health{clock, [this](const std::string& trouble) { told.push_back(trouble); }};
};

TEST_F(BackendHealthTest, TellsOnceWhenTheBackendGoesAndOnceWhenItIsBack) {
    health.answered();
    EXPECT_TRUE(health.failed(std::runtime_error("No connection.")));
    EXPECT_TRUE(health.failed(std::runtime_error("Time-out.")));
    EXPECT_FALSE(health.isWell());
    EXPECT_EQ(health.trouble(), "Time-out.");
    health.answered();
    health.answered();
    EXPECT_THAT(told, ElementsAre("No connection.", ""));
}

TEST_F(BackendHealthTest, ARefusalThatConcernsOneBugIsAnAnswer) {
    for (const int status : {400, 403, 404}) {
        EXPECT_FALSE(health.failed(BackendError::server(status, "no"))) << status;
    }
    EXPECT_THAT(told, IsEmpty());
    EXPECT_TRUE(health.failed(BackendError::server(503, "")));
    EXPECT_FALSE(health.failed(BackendError::server(404, "")));
    EXPECT_TRUE(health.failed(BackendError::server(429, "")));
    EXPECT_THAT(told, ElementsAre("The backend returned HTTP 503", "", "The backend returned HTTP 429"));
}

TEST_F(BackendHealthTest, ATokenThatIsNotKnownConcernsEverythingThatIsAsked) {
    EXPECT_TRUE(health.failed(BackendError::server(401, "")));
    EXPECT_TRUE(health.refusesToken());
    EXPECT_TRUE(health.failed(BackendError::server(503, "")));
    EXPECT_FALSE(health.refusesToken());
    health.failed(BackendError::server(401, ""));
    health.answered();
    EXPECT_FALSE(health.refusesToken());
}

TEST_F(BackendHealthTest, APauseThatTheBackendAsksForIsKeptUpToTenMinutes) {
    using std::chrono::seconds;
    const auto before = std::chrono::steady_clock::now();
    EXPECT_LT(health.askAgainAt(), before);
    health.failed(BackendError::server(429, "", seconds(30)));
    EXPECT_GE(health.askAgainAt(), before + seconds(30));
    health.failed(BackendError::server(503, "", seconds(100'000)));
    EXPECT_GE(health.askAgainAt(), before + BackendHealth::longestPause);
    EXPECT_LE(health.askAgainAt(), std::chrono::steady_clock::now() + BackendHealth::longestPause);
}

TEST_F(BackendHealthTest, AShorterPauseDoesNotEndALongerOne) {
    health.heed(std::chrono::seconds(300));
    const auto until = health.askAgainAt();
    health.heed(std::chrono::seconds(1));
    health.heed(std::nullopt);
    health.answered();
    EXPECT_EQ(health.askAgainAt(), until);
}

}  // namespace
}  // namespace quernlight::host
