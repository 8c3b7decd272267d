#include "host/view/event_log.hpp"

#include <array>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/events/event_publisher.hpp"
#include "host/process/user_error.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

ItemChanged running() {
    ItemChanged logged{.bugID = "3f2a9c1d"};
    logged.event = {.queueItemID = *parseUuid("0F1E2D3C-4B5A-4697-8877-665544332211"),
                    .sessionID = *parseUuid("A1B2C3D4-E5F6-4789-9ABC-DEF012345678"),
                    .kind = "running",
                    .message = "Codex session is running.",
                    .createdAt = *parseInstant("2026-03-04T05:06:07.089Z")};
    return logged;
}

TEST(LogLineTest, ALineForPeopleHasTimeBugKindSentenceAndIds) {
    EXPECT_EQ(logLine(LogFormat::text, running()),
              "2026-03-04T05:06:07.089Z  3f2a9c1d  running: Codex session is running."
              "  item=0F1E2D3C-4B5A-4697-8877-665544332211 session=A1B2C3D4-E5F6-4789-9ABC-DEF012345678");
}

TEST(LogLineTest, AJsonLineHasTheSameAsMembers) {
    const auto line = boost::json::parse(logLine(LogFormat::jsonLines, running()));
    EXPECT_EQ(line, boost::json::parse(R"({"time":"2026-03-04T05:06:07.089Z","kind":"running",
        "bug":"3f2a9c1d","item":"0F1E2D3C-4B5A-4697-8877-665544332211",
        "session":"A1B2C3D4-E5F6-4789-9ABC-DEF012345678","message":"Codex session is running."})"));
}

TEST(LogLineTest, AMessageOfSeveralLinesStaysOneLineAndMovesNoCursor) {
    ItemChanged failed = running();
    failed.event.message = "fatal: no\nsuch\x1b[2J\tref";
    EXPECT_THAT(logLine(LogFormat::text, failed),
                testing::HasSubstr("running: fatal: no such [2J ref  item="));
    EXPECT_EQ(logLine(LogFormat::jsonLines, failed).find('\n'), std::string::npos);
}

TEST(LogLineTest, AJsonLineHoldsNoCharacterThatATerminalActsOn) {
    ItemChanged failed = running();
    failed.event.message = "a\u009b2J\x7f\u202eb\u2028\x1b日";
    EXPECT_THAT(logLine(LogFormat::jsonLines, failed),
                testing::HasSubstr(R"("message":"a\u009b2J\u007f\u202eb\u2028\u001b日")"));
}

TEST(LogLineTest, ABugsIdMovesNoCursor) {
    ItemChanged failed = running();
    failed.bugID = "3f\x1b[2J";
    EXPECT_THAT(logLine(LogFormat::text, failed), testing::HasSubstr("  3f [2J  running"));
}

TEST(EventLogTest, EventsAndNotesAreLinesInTheFileAndStagesAreNot) {
    const test::TemporaryDirectory directory;
    const std::string file = directory / "dispatch.log";
    EventLog log(LogFormat::text, file);
    log.handle(StageChanged{{.bugID = "3f2a9c1d", .stage = SessionStage::working}});
    log.handle(running());
    log.handle(Notice{"Stopping the sessions."});
    log.close();
    EXPECT_THAT(
        test::readFile(file),
        testing::MatchesRegex(".*running: Codex session is running.*\n.*Z  Stopping the sessions.\n"));
}

TEST(EventLogTest, AnAlertIsLoggedWhenItChangesAndNotWhenItHolds) {
    const test::TemporaryDirectory directory;
    const std::string file = directory / "dispatch.log";
    EventLog log(LogFormat::text, file);
    EventPublisher events;
    const auto logging = events.subscribe([&log](const DispatchEvent& event) { log.handle(event); });
    events.alert({AlertTopic::memory}, "Short.");
    events.alert({AlertTopic::memory}, "Short.");
    events.alert({AlertTopic::memory}, "");
    events.alert({AlertTopic::memory}, "Short.");
    log.close();
    EXPECT_THAT(test::readFile(file), testing::MatchesRegex(".*Z  Short.\n.*Z  Short.\n"));
}

TEST(EventLogTest, LinesThatFindNoRoomInAPipeAreLeftOutWholeAndCounted) {
    const test::TemporaryDirectory directory;
    const std::string pipe = directory / "log";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EventLog log(LogFormat::text, pipe);
    constexpr int lines = 5000;
    for (int number = 0; number < lines; ++number) {
        log.handle(Notice{std::to_string(number) + std::string(1000, '.')});
    }
    const FileDescriptor reading(open(pipe.c_str(), O_RDONLY | O_CLOEXEC));
    FILE* const file = fdopen(dup(reading.get()), "r");
    int read = 0;
    int lost = 0;
    std::array<char, 2000> line{};
    while (read + lost < lines && std::fgets(line.data(), line.size(), file)) {
        const std::string text = line.data() + sizeof "2026-03-04T05:06:07.089Z  " - 1;
        const bool isNotice =
            text.ends_with(" lines were left out here, since nobody took what was written.\n");
        EXPECT_TRUE(isNotice || text == std::to_string(read) + std::string(1000, '.') + "\n") << text;
        (isNotice ? lost : read) += isNotice ? std::stoi(text) : 1;
    }
    std::fclose(file);
    EXPECT_GT(lost, 0);
    EXPECT_EQ(read + lost, lines);
}

TEST(EventLogTest, AFileThatCannotBeWrittenIsAnErrorThatSaysWhatToDo) {
    EXPECT_THROW(EventLog(LogFormat::text, "/proc/none/dispatch.log"), UserError);
}

}  // namespace
}  // namespace quernlight::host
