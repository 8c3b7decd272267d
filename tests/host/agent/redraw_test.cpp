#include "host/agent/redraw.hpp"

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;

/// An agent that has written more than was drawn, and what it does when it is looked at each tenth of a
/// second; the steps that were taken until nothing is left to do, or for a minute.
struct RedrawRow {
    std::string name;
    bool erasesAt41 = false, erasesAt40 = false;  // when its terminal has so many rows
    bool writesAtSizes = false;                   // without erasing
    bool writesAlways = false;
    std::string steps;
};

class RedrawTest : public testing::TestWithParam<RedrawRow> {
  protected:
    void look() {
        now_ += milliseconds(100);
        seen_.written += GetParam().writesAlways ? 1 : 0;
        take(redraw_.next(seen_, now_));
    }
    void take(RedrawStep step) {
        const bool isOther = step == RedrawStep::giveOtherSize;
        if (isOther || step == RedrawStep::giveOwnSize) {
            steps_ += isOther ? "41 " : "40 ";
            seen_.written += GetParam().writesAtSizes ? 100 : 0;
            const bool erases = isOther ? GetParam().erasesAt41 : GetParam().erasesAt40;
            seen_.lacksOutput = seen_.lacksOutput && !erases;
        } else if (step == RedrawStep::isDrawn) {
            steps_ += "drawn";
            seen_.lacksOutput = false;
        } else if (step == RedrawStep::isRefused) {
            steps_ += "refused";
        }
    }

    Redraw redraw_;
    Redraw::TimePoint now_{};
    RedrawSight seen_{.written = 900, .skipped = 800, .lacksOutput = true};
    std::string steps_;
};

TEST_P(RedrawTest, EndsWithAWholeScreenOrARefusal) {
    look();
    for (int looks = 0; looks < 600 && redraw_.isUnderWay(); ++looks) {
        look();
    }
    EXPECT_EQ(steps_, GetParam().steps);
    EXPECT_FALSE(redraw_.isUnderWay());
}

INSTANTIATE_TEST_SUITE_P(
    Agents, RedrawTest,
    testing::Values(
        RedrawRow{.name = "ErasesAtEachSize", .erasesAt41 = true, .erasesAt40 = true, .steps = "41 40 "},
        RedrawRow{.name = "ErasesLate", .erasesAt40 = true, .steps = "41 40 "},
        RedrawRow{.name = "OverwritesAndRests", .writesAtSizes = true, .steps = "41 40 drawn"},
        RedrawRow{.name = "WorksAndErases",
                  .erasesAt40 = true,
                  .writesAtSizes = true,
                  .writesAlways = true,
                  .steps = "41 40 "},
        RedrawRow{
            .name = "WorksAndTakesNoNotice", .writesAlways = true, .steps = "41 40 41 40 41 40 refused"},
        RedrawRow{.name = "DoesNothing", .steps = "41 40 41 40 41 40 refused"}),
    [](const auto& row) { return row.param.name; });

class FloodTest : public testing::Test {
  protected:
    RedrawStep look() { return redraw_.next(seen, now += milliseconds(100)); }

    Redraw redraw_;
    Redraw::TimePoint now{};
    RedrawSight seen{.written = 900, .skipped = 800, .lacksOutput = true, .isAllDrawn = false};
};

TEST_F(FloodTest, ItsEndIsWaitedFor) {
    EXPECT_EQ(look(), RedrawStep::wait);
    EXPECT_TRUE(redraw_.isUnderWay());
    seen.isAllDrawn = true;
    EXPECT_EQ(look(), RedrawStep::giveOtherSize);
}

TEST_F(FloodTest, TheNextOneAsksAnAgentAgainThatRefused) {
    seen.isAllDrawn = true;
    for (int looks = 0; looks < 600 && look() != RedrawStep::isRefused; ++looks) {
    }
    EXPECT_EQ(look(), RedrawStep::wait);
    EXPECT_FALSE(redraw_.isUnderWay());
    seen.skipped += 100;
    EXPECT_EQ(look(), RedrawStep::giveOtherSize);
}

}  // namespace
}  // namespace quernlight::host
