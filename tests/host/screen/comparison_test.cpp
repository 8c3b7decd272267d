#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/screen/screen_model.hpp"
#include "quernlight/platform/child_process.hpp"
#include "tests/host/screen/recordings.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

/// As the other emulator's script prints it.
std::string shownBy(TerminalSize size, const std::string& bytes) {
    ScreenModel model(size.columns, size.rows);
    model.write(bytes);
    const ScreenPicture picture = model.picture();
    std::ostringstream shown;
    for (const std::string& line : picture.lines) {
        shown << line << "\n";
    }
    shown << "cursor " << picture.cursorRow << " " << picture.cursorColumn << "\n"
          << "scrolled off " << model.scrollBack().size() << "\n";
    return shown.str();
}

/// The same by the other emulator, one text a recording.
std::string shownByOther(TerminalSize size, const std::vector<std::filesystem::path>& files) {
    const ComparisonPaths paths = comparisonPaths();
    ChildProcessRequest request{.executable = "/usr/bin/env",
                                .arguments = {"node", paths.script, paths.modules,
                                              std::to_string(size.columns), std::to_string(size.rows)},
                                .environment = {std::string("PATH=") + std::getenv("PATH")},
                                .workingDirectory = {}};
    request.arguments.insert(request.arguments.end(), files.begin(), files.end());
    const ChildProcessResult result = test::runTask(runChildProcess(std::move(request)));
    EXPECT_EQ(result.exitCode, 0) << result.output;
    return result.output;
}

/// Needs packaging/install-comparison. Continuous integration asks for it.
class ComparisonTest : public testing::Test {
  protected:
    void SetUp() override {
        const bool isInstalled = std::filesystem::exists(comparisonPaths().modules + "/@xterm/headless");
        if (!isInstalled && std::getenv("REQUIRE_COMPARISON") != nullptr) {
            FAIL() << "the other emulator is not installed; run packaging/install-comparison";
        } else if (!isInstalled) {
            GTEST_SKIP() << "the other emulator is not installed; packaging/install-comparison does it";
        }
    }

    void compare(TerminalSize size, const std::vector<std::string>& programs) {
        std::vector<std::filesystem::path> files;
        for (const std::string& bytes : programs) {
            files.push_back(directory_.path() / std::to_string(files.size()));
            std::ofstream(files.back(), std::ios::binary) << bytes;
        }
        std::istringstream others(shownByOther(size, files));
        for (const std::string& bytes : programs) {
            std::string other;
            for (int lines = size.rows + 2; lines > 0; --lines) {
                std::string line;
                std::getline(others, line);
                other += line + "\n";
            }
            EXPECT_EQ(shownBy(size, bytes), other) << testing::PrintToString(bytes);
        }
    }

    test::TemporaryDirectory directory_;
};

TEST_F(ComparisonTest, EveryRecordingLooksAsInAnotherEmulator) {
    for (const TerminalSize size : {TerminalSize{80, 24}, TerminalSize{100, 30}}) {
        std::vector<std::string> recordings;
        for (const std::string& name : recordingNames()) {
            if (sizeOfRecording(name) == size) {
                recordings.push_back(recording(name));
            }
        }
        compare(size, recordings);
    }
}

/// Something that a program may write, made of random numbers.
std::string randomPiece(std::mt19937& random) {
    const auto number = [&](int most) {
        return std::to_string(std::uniform_int_distribution<>(0, most)(random));
    };
    const auto oneOf = [&](const std::vector<std::string>& choices) {
        return choices[std::uniform_int_distribution<std::size_t>(0, choices.size() - 1)(random)];
    };
    switch (std::uniform_int_distribution<>(0, 9)(random)) {
        case 0:
            return oneOf({"a", "word ", "a longer text ", "日", "日本語", "e\u0301", "👍", "─│"});
        case 1:
            return oneOf({"\r", "\n", "\r\n", "\b", "\t", "\v", "\x1bM",
                          "\x1b"
                          "D",
                          "\x1b"
                          "E",
                          "\x1bH"});
        case 2:
            return "\x1b[" + number(8) + ";" + number(22) + oneOf({"H", "f"});
        case 3:
            return "\x1b[" + number(4) + oneOf({"A", "B", "C", "D", "E", "F", "G", "d", "a", "e", "I", "Z"});
        case 4:
            return "\x1b[" + number(2) + oneOf({"J", "K"});
        case 5:
            return "\x1b[" + number(5) + oneOf({"@", "P", "X", "L", "M", "S", "T"});
        case 6:
            return "\x1b[" + number(7) + ";" + number(7) + "r";
        case 7:
            return oneOf({"\x1b[?7l", "\x1b[?7h", "\x1b[4h", "\x1b[4l", "\x1b[0g"});
        case 8:
            return "xy\x1b[" + number(9) + "b";
        default:
            return oneOf({"\x1b[?1049h", "\x1b[?1049l", "\x1b[?47h", "\x1b[?47l", "\x1b]0;t\a",
                          "\x1bPq\x1b\\", "\x1b[31;2m", "\x1b[m"});
    }
}

TEST_F(ComparisonTest, RandomProgramsLookAsInAnotherEmulator) {
    std::mt19937 random(20);  // NOLINT: the same programs in every run
    std::vector<std::string> programs(200);
    for (std::string& program : programs) {
        for (int pieces = 0; pieces < 60; ++pieces) {
            program += randomPiece(random);
        }
    }
    compare({.columns = 20, .rows = 6}, programs);
}

}  // namespace
}  // namespace quernlight::host
