#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/live/live_fixture.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

/// As it stands in the program's own words on a terminal of 72 columns.
std::string pictureOfABusyDay() {
    const PaneText pane{.bugID = "b05d83f7",
                        .pane = LivePane::events,
                        .lines = {"13:51  Its agent has started.", "13:58  It asks: Which steps show it?"}};
    std::string text = "```\n";
    for (const std::string& line : textLines(livePicture(test::busyDay(), {}, pane, test::frame(72, 15)))) {
        text += line + "\n";
    }
    return text + "```\n";
}

TEST(ReadmeTest, ItsPictureIsTheProgramsOwn) {
    const auto root = std::filesystem::path(SETTINGS_REFERENCE_PATH).parent_path().parent_path();
    const std::string picture = pictureOfABusyDay();
    EXPECT_NE(quernlight::test::readFile(root / "README.md").find(picture), std::string::npos)
        << "README.md does not show this:\n"
        << picture;
}

}  // namespace
}  // namespace quernlight::host
