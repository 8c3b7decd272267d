#include "host/live/live_view.hpp"

#include <poll.h>
#include <pty.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/process/user_error.hpp"
#include "host/screen/screen_model.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "tests/host/service/service_fixture.hpp"
#include "tests/host/stepped_clock.hpp"
#include "tests/host/terminal_bytes.hpp"

namespace quernlight::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr int columns = 80;
constexpr int rows = 20;

/// A view of a stored queue on a real terminal, whose other side is read into a model of it, while the test
/// steps the clock.
class LiveViewTest : public test::ServiceFixture {
  protected:
    LiveViewTest() {
        setenv("TZ", "UTC0", 1);  // the picture tells local time
        tzset();
        winsize size{.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
        int master = -1;
        int slave = -1;
        EXPECT_EQ(openpty(&master, &slave, nullptr, nullptr, &size), 0);
        master_ = FileDescriptor(master);
        slave_ = FileDescriptor(slave);
    }
    ~LiveViewTest() override {
        if (tasks_) {
            run(tasks_->end());
        }
    }

    /// Whoever needs the backend waits until it answers, and then is refused.
    void hangBackend() {
        service = std::make_unique<DirectService>(access(), LiveSources(), [this] { return silence(); });
    }
    Task<std::shared_ptr<const QuernlightClient>> silence() {
        ++asked_;
        while (!backendAnswers_) {
            co_await clock_.sleepFor(std::chrono::seconds(1));
        }
        throw UserError("The backend is tired.");
    }
    bool hasAskedBackend() {
        return quernlight::test::eventually([&] {
            step();
            return asked_ > 0;
        });
    }
    bool hasLeft() {
        return quernlight::test::eventually([&] {
            step();
            return tasks_->size() == 0;
        });
    }

    void open(std::function<void()> stop = {}) {
        view_ = std::make_unique<LiveView>(io.get_executor(), LiveView::Uses{.service = *service,
                                                                             .clock = clock_,
                                                                             .home = home,
                                                                             .device = ttyname(slave_.get()),
                                                                             .stop = std::move(stop)});
        tasks_ = std::make_unique<TaskSet>(io.get_executor(), reportFailure);
        tasks_->add("view", view_->run());
    }

    /// What has come until now.
    void read() {
        for (int waiting = 0; ioctl(master_.get(), FIONREAD, &waiting) == 0 && waiting > 0;) {
            const std::string bytes = quernlight::test::nextBytes(master_);
            bytes_ += bytes.size();
            model_.write(bytes);
        }
    }
    /// Also what the system hands on a moment later.
    void readAll() {
        constexpr int moment = 100;  // milliseconds
        for (pollfd more{.fd = master_.get(), .events = POLLIN, .revents = 0}; poll(&more, 1, moment) == 1;) {
            read();
        }
    }
    std::string screen() {
        read();
        std::string text;
        for (const std::string& line : model_.picture().lines) {
            text += line + "\n";
        }
        return text;
    }
    bool shows(const std::string& text) {
        return quernlight::test::eventually([&] {
            step();
            return screen().find(text) != std::string::npos;
        });
    }
    /// The clock goes on by a second, and all is done that this leads to; the database has a thread of its
    /// own.
    void step() {
        clock_.advance(std::chrono::seconds(1));
        io.restart();
        io.run_for(std::chrono::milliseconds(5));
    }
    void press(const std::string& keys) {
        EXPECT_EQ(write(master_.get(), keys.data(), keys.size()), std::ssize(keys));
    }

    int asked_ = 0;  // the backend
    bool backendAnswers_ = false;
    FileDescriptor master_, slave_;
    quernlight::host::test::SteppedClock clock_{io};
    ScreenModel model_{columns, rows, 0};
    std::size_t bytes_ = 0;
    std::unique_ptr<LiveView> view_;
    std::unique_ptr<TaskSet> tasks_;
};

TEST_F(LiveViewTest, NothingIsWrittenWhileNothingChanges) {
    mapApp();
    enqueue("11111111");
    open();
    ASSERT_TRUE(shows("1 11111111 Crash")) << screen();
    ASSERT_TRUE(shows("05:07")) << "a minute has begun\n" << screen();
    for (int second = 0; second < 3; ++second) {
        step();
    }
    readAll();
    const std::size_t before = bytes_;
    for (int second = 0; second < 30; ++second) {
        step();
    }
    readAll();
    EXPECT_EQ(bytes_, before);
    enqueue("22222222");
    EXPECT_TRUE(shows("2 22222222 Crash")) << screen();
}

TEST_F(LiveViewTest, KeysMoveABugInTheQueueAndSayWhatCameOfIt) {
    mapApp();
    enqueue("11111111");
    enqueue("22222222");
    open();
    ASSERT_TRUE(shows("2 22222222")) << screen();
    press("J");
    EXPECT_TRUE(shows("Bug 11111111 goes last in its queue.")) << screen();
    EXPECT_TRUE(shows("1 22222222")) << screen();
    press("cy");
    EXPECT_TRUE(shows("Bug 11111111: cancelled.")) << screen();
    press("j");
    press("e");
    press("\r");
    EXPECT_TRUE(shows("No agent works on bug")) << screen();
}

TEST_F(LiveViewTest, FinishedWorkIsTouchedOnlyAfterAYes) {
    mapApp();
    enqueueAs("11111111", QueueItemStatus::completed);
    open();
    ASSERT_TRUE(shows("REVIEW (1)")) << screen();
    press("r");
    EXPECT_TRUE(shows("Have it worked on again? [y/N]")) << screen();
    press("y");
    EXPECT_TRUE(shows("QUEUED (1)")) << screen();
}

TEST_F(LiveViewTest, WhatIsRefusedIsSaid) {
    mapApp();
    enqueueAs("11111111", QueueItemStatus::failed);
    open();
    ASSERT_TRUE(shows("NEEDS YOU (1)")) << screen();
    press("cy");
    EXPECT_TRUE(shows("it has left its queue already.")) << screen();
    press("u");
    EXPECT_TRUE(shows("dispatcher")) << screen();
}

TEST_F(LiveViewTest, TheTerminalIsAsBeforeOnceItIsLeft) {
    store();
    open();
    ASSERT_TRUE(shows("There are no bugs.")) << screen();
    EXPECT_TRUE(model_.picture().alternateScreen);
    EXPECT_FALSE(model_.picture().cursorShown);
    press("q");
    EXPECT_TRUE(quernlight::test::eventually([&] {
        step();
        return tasks_->size() == 0;
    }));
    // What is written comes out at the other side a moment later.
    EXPECT_TRUE(quernlight::test::eventually([&] {
        read();
        return !model_.picture().alternateScreen;
    }));
    EXPECT_TRUE(model_.picture().cursorShown);
    EXPECT_FALSE(model_.picture().bracketedPaste);
}

TEST_F(LiveViewTest, LeavingTheViewOfARunningDispatcherAsksWhetherToStopIt) {
    store();
    int stops = 0;
    open([&] { ++stops; });
    ASSERT_TRUE(shows("There are no bugs.")) << screen();
    press("q");
    EXPECT_TRUE(shows("Stop it? [y/N]")) << screen();
    EXPECT_EQ(stops, 0);
    press("y");
    EXPECT_TRUE(quernlight::test::eventually([&] {
        step();
        return stops == 1;
    }));
}

TEST_F(LiveViewTest, AHomeThatComesToBeIsShown) {
    open();
    ASSERT_TRUE(shows("There is no")) << screen();
    mapApp();
    enqueue("11111111");
    EXPECT_TRUE(shows("11111111")) << screen();
    EXPECT_THAT(screen(), AllOf(HasSubstr("no dispatcher runs"), Not(HasSubstr("There is no"))));
}

TEST_F(LiveViewTest, AnAnswerToAHungBackendDelaysNoOtherBug) {
    mapApp();
    enqueueAs("11111111", QueueItemStatus::awaitingUserInput);
    enqueue("22222222");
    hangBackend();
    open();
    ASSERT_TRUE(shows("NEEDS YOU (1)")) << screen();
    press("aPress it.\r");
    ASSERT_TRUE(hasAskedBackend());
    press("jcy");
    EXPECT_TRUE(shows("Bug 22222222: cancelled.")) << screen();
    backendAnswers_ = true;
    EXPECT_TRUE(shows("The backend is tired.")) << screen();
}

TEST_F(LiveViewTest, LeavingBeforeAnAnswerIsSentIsAskedFirst) {
    mapApp();
    enqueueAs("11111111", QueueItemStatus::awaitingUserInput);
    hangBackend();
    open();
    ASSERT_TRUE(shows("NEEDS YOU (1)")) << screen();
    press("aPress it.\r");
    ASSERT_TRUE(hasAskedBackend());
    press("q");
    EXPECT_TRUE(shows("What you asked for bug 11111111 is still being done")) << screen();
    press("n");
    EXPECT_TRUE(shows("Nothing was done.")) << screen();
    press("q");
    EXPECT_TRUE(shows("Leave all the same? [y/N]")) << screen();
    press("y");
    EXPECT_TRUE(hasLeft());
}

TEST_F(LiveViewTest, NoMoreIsBegunThanCanBeFollowed) {
    mapApp();
    enqueueAs("11111111", QueueItemStatus::awaitingUserInput);
    hangBackend();
    open();
    ASSERT_TRUE(shows("NEEDS YOU (1)")) << screen();
    for (int number = 0; number < 21; ++number) {
        press("aPress it.\r");
        step();
    }
    EXPECT_TRUE(shows("Too much is being done already; try again in a moment.")) << screen();
    EXPECT_EQ(asked_, 1) << "those of one bug come one after the other";
}

TEST_F(LiveViewTest, WhatAPaneCouldNotTellIsAskedForAgain) {
    mapApp();
    const BugQueueItem item = enqueue("11111111");
    open();
    ASSERT_TRUE(shows("1 11111111 Crash")) << screen();
    press("g");
    ASSERT_TRUE(shows("It was given no goal yet.")) << screen();
    addAttempt(item, 1);
    EXPECT_TRUE(quernlight::test::eventually([&] {
        step();
        return screen().find("It was given no goal yet.") == std::string::npos;
    })) << screen();
}

TEST_F(LiveViewTest, ATerminalThatTakesNothingHoldsUpNobody) {
    mapApp();
    enqueue("11111111");
    ASSERT_EQ(tcflow(slave_.get(), TCOOFF), 0);
    open();
    for (int second = 0; second < 20; ++second) {
        step();
    }
    view_->tell("It was told.");
    ASSERT_EQ(tcflow(slave_.get(), TCOON), 0);
    EXPECT_TRUE(shows("It was told.")) << screen();
}

}  // namespace
}  // namespace quernlight::host
