#pragma once

#include <string>
#include <vector>

#include "host/screen/screen_picture.hpp"

namespace quernlight::host {

/// What an agent wrote to its terminal up to one moment: the file "NAME.ansi".
std::string recording(const std::string& name);

/// The names of all of them, and the size of the terminal each was made on.
std::vector<std::string> recordingNames();
TerminalSize sizeOfRecording(const std::string& name);

/// A recording's name as that of a test.
std::string testName(std::string name);

/// The screen at the end of a recording.
ScreenPicture recordedScreen(const std::string& name);

/// Where another emulator is installed, and the script that runs it.
struct ComparisonPaths {
    std::string modules, script;
};
ComparisonPaths comparisonPaths();

/// A screen with these lines, the cursor hidden.
ScreenPicture screenOf(std::vector<std::string> lines);

/// The same with the cursor in it.
ScreenPicture screenOf(std::vector<std::string> lines, int cursorRow, int cursorColumn);

}  // namespace quernlight::host
