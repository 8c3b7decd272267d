#include "host/view/live_view.hpp"

#include <algorithm>
#include <csignal>
#include <stdexcept>

#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/events/event_publisher.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "tests/host/terminal_bytes.hpp"

namespace quernlight::host {
namespace {

using testing::HasSubstr;
using testing::Not;

/// A view on a real terminal of 80 columns; what was drawn is read back from the other side.
class LiveViewTest : public testing::Test {
  protected:
    void open(unsigned short rows) {
        winsize size{.ws_row = rows, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
        int master = -1;
        int slave = -1;
        ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, &size), 0);
        master_ = FileDescriptor(master);
        slave_ = FileDescriptor(slave);
        view_ = std::make_unique<LiveView>(io_.get_executor(), slave, true);
        showing_ = events_.subscribe([this](const DispatchEvent& event) { view_->handle(event); });
    }

    void show(const std::string& bugID, SessionStage stage) {
        events_.progress({.bugID = bugID, .appName = "Shop", .title = "Title", .stage = stage});
    }

    tcflag_t keySettings() {
        termios settings{};
        EXPECT_EQ(tcgetattr(slave_.get(), &settings), 0);
        return settings.c_lflag;
    }

    std::string nextBytes() {
        std::string bytes = quernlight::test::nextBytes(master_);
        if (bytes.empty()) {
            throw std::runtime_error("the terminal passed nothing on");
        }
        return bytes;
    }

    /// What is drawn once a held terminal takes it again, up to the note that begins so: one note, which was
    /// under way, and then all others.
    std::string drawnOnceReleased(const std::string& last) {
        EXPECT_EQ(tcflow(slave_.get(), TCOON), 0);
        std::string bytes;
        while (bytes.find("\nnote") == std::string::npos) {
            view_->close();
            bytes += nextBytes();
        }
        while (bytes.find(last) == std::string::npos) {
            bytes += nextBytes();
        }
        return bytes;
    }

    /// All that was drawn.
    std::string drawn() {
        view_->close();
        const std::string mark = "[that was all]";
        EXPECT_EQ(write(slave_.get(), mark.data(), mark.size()), static_cast<ssize_t>(mark.size()));
        std::string bytes;
        while (!bytes.ends_with(mark)) {
            bytes += nextBytes();
        }
        return bytes.substr(0, bytes.size() - mark.size());
    }

    boost::asio::io_context io_;
    FileDescriptor master_;
    FileDescriptor slave_;
    EventPublisher events_;
    std::unique_ptr<LiveView> view_;
    EventPublisher::Subscription showing_;
};

TEST_F(LiveViewTest, ABugHasOneLineThatTellsItsStageBySign) {
    open(24);
    show("3f2a9c10", SessionStage::working);
    show("3f2a9c10", SessionStage::inReview);
    const std::string picture = drawn();
    EXPECT_THAT(picture, HasSubstr("✓"));
    EXPECT_THAT(picture, HasSubstr("3f2a9c10  Shop"));
    EXPECT_THAT(picture, Not(HasSubstr("working")));
}

TEST_F(LiveViewTest, WhatDoesNotFitTheScreenIsCountedAndWhatRunsIsKept) {
    open(6);
    for (const char* bugID : {"11111111", "22222222", "33333333", "44444444"}) {
        show(bugID, SessionStage::queued);
    }
    show("55555555", SessionStage::working);
    const std::string picture = drawn();
    EXPECT_THAT(picture, HasSubstr("55555555"));
    EXPECT_THAT(picture, HasSubstr("11111111"));
    EXPECT_THAT(picture, Not(HasSubstr("44444444")));
    EXPECT_THAT(picture, HasSubstr("and 2 more"));
}

TEST_F(LiveViewTest, ABugThatIsToBeReconciledIsNotRunning) {
    open(24);
    show("11111111", SessionStage::toReconcile);
    show("22222222", SessionStage::working);
    const std::string picture = drawn();
    EXPECT_THAT(picture, HasSubstr("· 11111111  Shop"));
    EXPECT_THAT(picture, HasSubstr("  1 running"));
}

TEST_F(LiveViewTest, AnAgentThatHasExitedIsInAStageThatTellsHow) {
    const auto exited = [](int code) {
        return stageText(BugProgress{.stage = SessionStage::agentExited, .exitCode = code});
    };
    EXPECT_EQ(exited(0), "exited (code 0)");
    EXPECT_EQ(exited(128), "exited (code 128)");
    EXPECT_EQ(exited(128 + SIGKILL), "ended by SIGKILL");
}

TEST_F(LiveViewTest, TheLastLineSumsUpAndSaysHowManyNeedAttention) {
    open(24);
    show("11111111", SessionStage::working);
    show("22222222", SessionStage::queued);
    show("33333333", SessionStage::inReview);
    show("44444444", SessionStage::failed);
    show("55555555", SessionStage::needsReply);
    EXPECT_THAT(drawn(), HasSubstr("1 running, 1 queued, 1 in review; 2 need attention"));
}

TEST_F(LiveViewTest, AnAlertStandsThereUntilItIsOver) {
    open(24);
    show("11111111", SessionStage::working);
    events_.alert({AlertTopic::memory}, "No memory.");
    events_.alert({AlertTopic::backend}, "No backend.");
    events_.alert({AlertTopic::memory}, "");
    const std::string picture = drawn();
    EXPECT_THAT(picture, HasSubstr("! No backend."));
    EXPECT_THAT(picture, HasSubstr("the backend does not answer"));
    EXPECT_THAT(picture, Not(HasSubstr("No memory.")));
}

TEST_F(LiveViewTest, ABugThatHasLeftTheQueueIsNoLongerShown) {
    open(24);
    show("11111111", SessionStage::inReview);
    show("22222222", SessionStage::working);
    events_.removed("11111111");
    EXPECT_THAT(drawn(), Not(HasSubstr("11111111")));
}

TEST_F(LiveViewTest, EventsScrollByAboveThePicture) {
    open(24);
    show("3f2a9c1d", SessionStage::working);
    ItemChanged changed{.bugID = "3f2a9c1d"};
    changed.event.message = "The goal has been\x1b[2J typed.";
    events_.publish(changed);
    const std::string picture = drawn();
    EXPECT_THAT(picture, HasSubstr("3f2a9c1d  The goal has been"));
    EXPECT_THAT(picture, Not(HasSubstr("\x1b[2J")));
    EXPECT_LT(picture.find("The goal"), picture.rfind("working"));
}

TEST_F(LiveViewTest, ATerminalThatTakesNothingHoldsNobodyUpAndLosesNoLine) {
    open(24);
    ASSERT_EQ(tcflow(slave_.get(), TCOOFF), 0);
    for (int number = 0; number < 500; ++number) {
        events_.notice("note " + std::to_string(number) + std::string(100, '.'));
    }
    const std::string picture = drawnOnceReleased("note 499.");
    EXPECT_THAT(picture, HasSubstr("note 0."));
    EXPECT_THAT(picture, HasSubstr("note 250."));
    EXPECT_THAT(picture, HasSubstr("note 499."));
}

TEST_F(LiveViewTest, LinesThatATerminalDidNotTakeForLongAreCounted) {
    open(24);
    ASSERT_EQ(tcflow(slave_.get(), TCOOFF), 0);
    for (int number = 0; number < 15'000; ++number) {
        events_.notice("note " + std::to_string(number) + std::string(100, '.'));
    }
    const std::string picture = drawnOnceReleased("note 14999.");
    const auto notice = picture.find(" lines were left out here, since the terminal took nothing.");
    ASSERT_NE(notice, std::string::npos);
    const auto count = std::stoul(picture.substr(picture.rfind('\n', notice) + 1));
    const auto shown = static_cast<std::size_t>(std::count(picture.begin(), picture.end(), '.'));
    EXPECT_EQ(count + (shown - 1) / 100, 15'000U);
}

TEST_F(LiveViewTest, KeysAreNotEchoedIntoThePictureButStillSendSignals) {
    open(24);
    const auto before = keySettings();
    show("3f2a9c1d", SessionStage::working);
    events_.notice("drawn");
    EXPECT_EQ(keySettings() & static_cast<tcflag_t>(ECHO | ICANON), 0U);
    EXPECT_NE(keySettings() & static_cast<tcflag_t>(ISIG), 0U);
    view_->close();
    EXPECT_EQ(keySettings(), before);
}

TEST_F(LiveViewTest, AViewThatIsDroppedGivesTheTerminalBackAsItWas) {
    open(24);
    const auto before = keySettings();
    events_.notice("drawn");
    ASSERT_NE(keySettings(), before);
    showing_.reset();
    view_.reset();
    EXPECT_EQ(keySettings(), before);
}

TEST_F(LiveViewTest, OnATerminalMadeNarrowerEveryRowOfTheOldPictureIsErased) {
    open(24);
    show("3f2a9c1d", SessionStage::working);
    events_.notice("drawn");  // one bug and the sum, at 80 columns
    winsize narrow{.ws_row = 24, .ws_col = 40, .ws_xpixel = 0, .ws_ypixel = 0};
    ASSERT_EQ(ioctl(slave_.get(), TIOCSWINSZ, &narrow), 0);
    EXPECT_THAT(drawn(), HasSubstr("\x1b[4A\r\x1b[J"));
}

TEST_F(LiveViewTest, NoLineIsWiderThanTheTerminalAndATitleMovesNoCursor) {
    open(24);
    events_.progress({.bugID = "11111111",
                      .appName = std::string(300, 'a'),
                      .title = "T\x1b[2J" + std::string(300, 't'),
                      .detail = std::string(300, 'd')});
    events_.alert({AlertTopic::memory}, std::string(300, 'm'));
    const std::string picture = drawn();
    EXPECT_THAT(picture, Not(HasSubstr("\x1b[2J")));
    EXPECT_THAT(picture, Not(HasSubstr(std::string(80, 'm'))));
}

}  // namespace
}  // namespace quernlight::host
