#include "tests/host/screen/recordings.hpp"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "host/screen/screen_model.hpp"

namespace quernlight::host {
namespace {

const std::filesystem::path root = PROJECT_ROOT;
const std::filesystem::path directory = root / "tests/host/screen/recordings";

}  // namespace

std::string recording(const std::string& name) {
    std::ifstream file(directory / (name + ".ansi"), std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (bytes.empty()) {
        throw std::runtime_error("no recording " + name);
    }
    return bytes;
}

std::vector<std::string> recordingNames() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path().stem().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

TerminalSize sizeOfRecording(const std::string& name) {
    return name.starts_with("alternate") || name.starts_with("long")
               ? TerminalSize{.columns = 80, .rows = 24}
               : TerminalSize{.columns = 100, .rows = 30};
}

std::string testName(std::string name) {
    const auto isSpecial = [](char character) { return character == '-' || character == '.'; };
    std::replace_if(name.begin(), name.end(), isSpecial, '_');
    return name;
}

ScreenPicture recordedScreen(const std::string& name) {
    const TerminalSize size = sizeOfRecording(name);
    ScreenModel model(size.columns, size.rows);
    model.write(recording(name));
    return model.picture();
}

ComparisonPaths comparisonPaths() {
    return {.modules = root / "build/comparison/node_modules",
            .script = root / "tests/host/screen/other_emulator.js"};
}

ScreenPicture screenOf(std::vector<std::string> lines) {
    lines.resize(24);
    return {.columns = 80, .rows = 24, .lines = lines, .brightLines = lines, .cursorShown = false};
}

ScreenPicture screenOf(std::vector<std::string> lines, int cursorRow, int cursorColumn) {
    ScreenPicture picture = screenOf(std::move(lines));
    picture.cursorRow = cursorRow;
    picture.cursorColumn = cursorColumn;
    picture.cursorShown = true;
    return picture;
}

}  // namespace quernlight::host
