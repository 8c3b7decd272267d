#include "host/agent/live_screens.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

LiveScreens::Look lookOf(std::int64_t attempt) {
    return [attempt] { return LiveAgent{.attemptNumber = attempt}; };
}

TEST(LiveScreensTest, AScreenIsShownAsLongAsItsSessionHoldsItsEntry) {
    LiveScreens screens;
    EXPECT_FALSE(screens.look("3f2a9c1d"));
    {
        const LiveScreens::Entry entry = screens.enter("3f2a9c1d", lookOf(1));
        EXPECT_EQ(screens.look("3f2a9c1d")->attemptNumber, 1);
        EXPECT_FALSE(screens.look("3f2a9c1e"));
    }
    EXPECT_FALSE(screens.look("3f2a9c1d"));
}

TEST(LiveScreensTest, ABugsNewScreenIsNotTakenAwayByTheEndOfItsLast) {
    LiveScreens screens;
    LiveScreens::Entry first = screens.enter("3f2a9c1d", lookOf(1));
    const LiveScreens::Entry second = screens.enter("3f2a9c1d", lookOf(2));
    first.reset();
    EXPECT_EQ(screens.look("3f2a9c1d")->attemptNumber, 2);
}

TEST(LiveScreensTest, AnEntryMayOutliveTheRegistry) {
    LiveScreens::Entry entry;
    {
        LiveScreens screens;
        entry = screens.enter("3f2a9c1d", lookOf(1));
    }
    EXPECT_EQ((*entry)().attemptNumber, 1);
}

}  // namespace
}  // namespace quernlight::host
