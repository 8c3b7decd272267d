#include "host/health/disk_health.hpp"

#include <vector>

#include <gmock/gmock.h>

#include "host/health/disk_probe.hpp"
#include "tests/host/services_fixture.hpp"
#include "tests/host/stepped_clock.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

class DiskHealthTest : public testing::Test {
  protected:
    void fails() {
        health_.failed(DatabaseError(DatabaseError::Kind::stepFailed, "database or disk is full"));
    }

    std::vector<std::string> events_;
    test::SteppedClock clock_{[] {}};
    DiskHealth health_{clock_, [this](const std::string& trouble) { events_.push_back(trouble); }};
};

TEST_F(DiskHealthTest, TellsOnceWhenWritesFailHoweverManyDo) {
    EXPECT_TRUE(health_.isWell());
    fails();
    fails();
    EXPECT_FALSE(health_.isWell());
    EXPECT_THAT(
        events_,
        ElementsAre("The queue cannot be read or written at the moment (database or disk is full); "
                    "sessions go on, and it is tried again. Free some disk space if the disk is full."));
}

TEST_F(DiskHealthTest, TellsWhenItIsOverAndTheNextTimeToo) {
    fails();
    health_.recovered();
    EXPECT_TRUE(health_.isWell());
    EXPECT_EQ(events_.back(), "");
    fails();
    EXPECT_THAT(events_, SizeIs(3));
}

TEST_F(DiskHealthTest, TroubleThatComesBackIsTriedEverMoreSeldom) {
    using std::chrono::seconds;
    const auto timeout = [this] {
        fails();
        int waited = 0;
        for (; !health_.isTrialDue(); ++waited) {
            clock_.advance(seconds(1));
        }
        health_.recovered();
        return waited;
    };
    EXPECT_FALSE(health_.isTrialDue());
    EXPECT_EQ(timeout(), 0);
    EXPECT_EQ(timeout(), 1);
    EXPECT_EQ(timeout(), 2);
    EXPECT_EQ(timeout(), 4);
    for (int time = 0; time < 10; ++time) {
        timeout();
    }
    EXPECT_EQ(timeout(), 300);
    clock_.advance(seconds(400));
    EXPECT_EQ(timeout(), 0);
}

TEST_F(DiskHealthTest, KeepsWhatCouldNotBeWrittenUntilItIsOver) {
    const auto full = std::make_error_code(std::errc::no_space_on_device);
    health_.failed(std::filesystem::filesystem_error("cannot create", "/home/sessions/1", full));
    EXPECT_THAT(health_.unwritten(), ElementsAre("/home/sessions/1"));
    EXPECT_THAT(events_.front(), testing::HasSubstr("The dispatch home cannot be read or written"));
    health_.recovered();
    EXPECT_THAT(health_.unwritten(), testing::IsEmpty());
}

class DiskProbeTest : public test::ServicesFixture {
  protected:
    bool canBeWritten(const std::set<std::filesystem::path>& unwritten = {}) {
        return run(host::canBeWritten(store, background, directory.path(), unwritten));
    }
};

TEST_F(DiskProbeTest, AHomeWithRoomCanBeWrittenAndNothingIsLeftInIt) {
    const auto entries = [this] {
        return std::distance(std::filesystem::directory_iterator(directory.path()), {});
    };
    canBeWritten();
    const auto before = entries();
    EXPECT_TRUE(canBeWritten({directory / "sessions/3f2a9c1d/1"}));
    EXPECT_EQ(entries(), before);
}

TEST_F(DiskProbeTest, WhatIsUnwrittenElsewhereCountsToo) {
    EXPECT_FALSE(canBeWritten({"/proc/nothing/can/be/made/here"}));
}

TEST_F(DiskProbeTest, AQueueThatRefusesWritesCannotBeWritten) {
    run(store.database->query("PRAGMA query_only = ON"));
    EXPECT_FALSE(canBeWritten());
}

}  // namespace
}  // namespace quernlight::host
