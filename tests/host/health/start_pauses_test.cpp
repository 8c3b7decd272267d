#include "host/health/start_pauses.hpp"

#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using std::chrono::seconds;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

/// Starts in the repositories "/shop" and "/notes", second by second.
class StartPausesTest : public testing::Test {
  protected:
    static StartPauses::TimePoint at(int second) { return StartPauses::TimePoint(seconds(second)); }
    void failsAt(int second, std::optional<std::string> repository) {
        pauses.failed({.repository = std::move(repository), .cause = "The remote is away."}, at(second));
    }
    void limitIsReachedAt(int second, std::optional<seconds> lasts = {}) {
        pauses.failed({.cause = "The agent's use is limited.",
                       .lasts = lasts,
                       .stopsWork = true,
                       .pauses = {.first = seconds(300), .longest = seconds(1800)}},
                      at(second));
    }
    /// The first second, from `begin`, at which a bug of the repository may be started.
    int resumesAt(int begin, const std::string& repository) {
        int second = begin;
        while (pauses.pauseOf(repository, at(second))) {
            ++second;
        }
        return second;
    }

    std::map<std::string, std::string> alerts;  // that hold, by repository
    StartPauses pauses{[this](const std::string& repository, const std::string& sentence) {
        alerts[repository] = sentence;
        std::erase_if(alerts, [](const auto& alert) { return alert.second.empty(); });
    }};
};

TEST_F(StartPausesTest, ARepositorysFailureHoldsBackItsOwnBugsOnly) {
    failsAt(0, "/shop");
    EXPECT_EQ(resumesAt(0, "/shop"), 5);
    EXPECT_FALSE(pauses.pauseOf("/notes", at(0)));
    EXPECT_EQ(pauses.trouble("/shop"), "The remote is away.");
    EXPECT_FALSE(pauses.trouble("/notes"));
}

TEST_F(StartPausesTest, AFailureOfTheSystemHoldsBackAllBugs) {
    failsAt(0, std::nullopt);
    EXPECT_EQ(resumesAt(0, "/shop"), 5);
    EXPECT_EQ(pauses.trouble("/notes"), "The remote is away.");
    pauses.prepared("/shop");
    EXPECT_TRUE(pauses.pauseOf("/shop", at(0)));
    pauses.agentStarted();
    EXPECT_FALSE(pauses.pauseOf("/shop", at(0)));
}

TEST_F(StartPausesTest, APauseForWhichNoBugWaitsAnyMoreEnds) {
    failsAt(0, "/shop");
    failsAt(0, "/notes");
    failsAt(0, std::nullopt);
    pauses.endUnused({"/notes"});
    EXPECT_FALSE(alerts.contains("/shop"));
    EXPECT_TRUE(alerts.contains("/notes"));
    EXPECT_TRUE(alerts.contains(""));
    pauses.endUnused({});
    EXPECT_THAT(alerts, IsEmpty());
    EXPECT_FALSE(pauses.areAny());
}

TEST_F(StartPausesTest, ThePauseGrowsWithEachFailureUpToFiveMinutes) {
    int second = 0;
    for (const int length : {5, 10, 20, 40, 80, 160, 300, 300}) {
        failsAt(second, "/shop");
        EXPECT_EQ(resumesAt(second, "/shop"), second + length);
        second += length;
    }
}

TEST_F(StartPausesTest, AFailureOfAStartThatBeganBeforeThePauseCountsForNothing) {
    failsAt(0, "/shop");
    failsAt(4, "/shop");
    EXPECT_EQ(resumesAt(4, "/shop"), 5);
}

TEST_F(StartPausesTest, ACauseThatIsKnownToLastPausesAsLongAndGrowsNothing) {
    pauses.failed({.cause = "The agent's use is limited.", .lasts = seconds(7200)}, at(0));
    EXPECT_EQ(resumesAt(0, "/shop"), 7200);
    failsAt(7200, std::nullopt);
    EXPECT_EQ(resumesAt(7200, "/shop"), 7205);
    pauses.failed({.cause = "The agent's use is limited.", .lasts = seconds(60)}, at(7201));
    EXPECT_EQ(resumesAt(7201, "/shop"), 7261);
}

TEST_F(StartPausesTest, APauseUntilATimeOfDayEndsThenThoughTheMachineHasSlept) {
    const Instant noon = parseInstant("2026-03-04T12:00:00Z").value();
    pauses.failed({.cause = "Limited.", .lasts = seconds(3600), .until = noon, .stopsWork = true}, at(0));
    pauses.follow(at(10), noon - seconds(600));  // it slept for most of an hour
    EXPECT_EQ(resumesAt(10, "/shop"), 610);
    pauses.endUnused({});
    EXPECT_TRUE(pauses.areAny());
    pauses.follow(at(20), noon + seconds(1));
    EXPECT_FALSE(pauses.pauseOf("/shop", at(20)));
    pauses.endUnused({});
    EXPECT_FALSE(pauses.areAny());
}

TEST_F(StartPausesTest, NoGoalThatIsTakenEndsAPauseForALimitOfUse) {
    limitIsReachedAt(0, seconds(60));
    pauses.agentStarted();
    EXPECT_EQ(resumesAt(0, "/shop"), 60);
    EXPECT_EQ(alerts.size(), 1U);
}

TEST_F(StartPausesTest, AnAgentThatGotItsGoalAfterThePauseAndWorksEndsTheLimitOfUse) {
    limitIsReachedAt(0);
    pauses.agentWorked(at(299));
    EXPECT_TRUE(pauses.areAny());
    pauses.agentWorked(at(300));
    EXPECT_FALSE(pauses.areAny());
    EXPECT_THAT(alerts, IsEmpty());
}

TEST_F(StartPausesTest, ALimitOfUseThatNamesNoTimeIsTriedAgainEveryFiveToThirtyMinutes) {
    int second = 0;
    for (const int length : {300, 600, 1200, 1800, 1800}) {
        limitIsReachedAt(second);
        EXPECT_EQ(resumesAt(second, "/shop"), second + length);
        second += length;
    }
}

TEST_F(StartPausesTest, TellsToHowManyBugsItHappenedThatTheirGoalWasNotTaken) {
    EXPECT_EQ(pauses.goalRefused("a"), 1U);
    EXPECT_EQ(pauses.goalRefused("a"), 1U);
    EXPECT_EQ(pauses.goalRefused("b"), 2U);
    pauses.agentStarted();
    EXPECT_EQ(pauses.goalRefused("b"), 1U);
}

TEST_F(StartPausesTest, APersonMayHaveATryAtOnceAndThePauseGoesOnGrowing) {
    failsAt(0, "/shop");
    failsAt(5, "/shop");
    pauses.failed({.cause = "The agent's use is limited.", .lasts = seconds(7200)}, at(10));
    const std::vector<EndedPause> ended{
        {.repository = "", .cause = "The agent's use is limited.", .left = seconds(7198)},
        {.repository = "/shop", .cause = "The remote is away.", .left = seconds(3)}};
    EXPECT_EQ(pauses.tryNow(at(12)), ended);
    EXPECT_EQ(resumesAt(12, "/shop"), 12);
    EXPECT_THAT(alerts["/shop"], HasSubstr("A bug of /shop is started now, since a person says so; before"));
    EXPECT_THAT(pauses.tryNow(at(12)), IsEmpty());
    failsAt(13, "/shop");
    EXPECT_EQ(resumesAt(13, "/shop"), 33);
    EXPECT_THAT(alerts["/shop"], HasSubstr("at once with: quernlight-dispatch unpause"));
}

TEST_F(StartPausesTest, ASuccessEndsThePauseAndTheNextOneIsShortAgain) {
    failsAt(0, "/shop");
    failsAt(5, "/shop");
    pauses.prepared("/shop");
    EXPECT_FALSE(pauses.pauseOf("/shop", at(6)));
    failsAt(6, "/shop");
    EXPECT_EQ(resumesAt(6, "/shop"), 11);
}

TEST_F(StartPausesTest, OneAlertNamesTheCauseAndTheNextTryUntilItIsOver) {
    failsAt(0, "/shop");
    failsAt(1, "/shop");
    EXPECT_EQ(alerts.size(), 1U);
    EXPECT_THAT(alerts.begin()->second, AllOf(HasSubstr("No bug of /shop is started for the next 5 s"),
                                              HasSubstr("The remote is away.")));
    pauses.prepared("/shop");
    EXPECT_THAT(alerts, IsEmpty());
}

}  // namespace
}  // namespace quernlight::host
