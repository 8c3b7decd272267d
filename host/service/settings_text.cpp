#include "host/service/settings_text.hpp"

#include <algorithm>
#include <map>

#include "host/process/user_error.hpp"
#include "host/settings/word_list.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr std::string_view head =
    "# The settings of Quernlight Dispatch, a line \"KEY VALUE\" for each that is set. A line that you take out\n"
    "# puts its setting back to the default; what begins with \"#\" is a comment. Changes are made once you\n"
    "# leave the editor, all of them or none.\n";

/// Whether the line reads as the same value again.
bool fitsOnLine(const std::string& text) {
    constexpr std::size_t most = 1 << 16;
    return escapedLine(text, most) == text && trimmed(text) == text;
}

std::string entryText(const SettingValue& value) {
    const std::string unit = value.unit.empty() ? "" : " (" + value.unit + ")";
    const std::string explained = "\n# " + value.help + "\n# " + value.allowed + unit + "; takes effect " +
                                  std::string(describe(value.takesEffect)) + "\n";
    const std::string line = value.key + (value.text.empty() ? "" : " " + value.text) + "\n";
    if (!value.isSet) {
        return explained + "# " + line;
    }
    return explained + (fitsOnLine(value.text)
                            ? line
                            : "# " + value.key + " is set to what does not fit on a line; it stays so\n");
}

/// Why the setting cannot have that value; empty when it can.
std::string troubleWith(const std::string& key, const std::string& text) {
    try {
        Settings checked;
        assignSetting(checked, settingDescription(key), text);
    } catch (const UserError& error) {
        return error.what();
    }
    return "";
}

struct Reading {
    std::map<std::string, std::string> texts;  // by key
    std::vector<std::string> troubles;
};

void readLine(std::string_view given, std::size_t number, Reading& reading) {
    const std::string line(trimmed(given));
    if (line.empty() || line.front() == '#') {
        return;
    }
    const std::size_t blank = std::min(line.find_first_of(" \t"), line.size());
    const std::string key = line.substr(0, blank);
    const std::string text(trimmed(line.substr(blank)));
    std::string trouble = troubleWith(key, text);
    if (trouble.empty() && !reading.texts.emplace(key, text).second) {
        trouble = key + " is there twice.";
    }
    if (!trouble.empty()) {
        reading.troubles.push_back("Line " + std::to_string(number) + ": " + trouble);
    }
}

Reading read(std::string_view text) {
    Reading reading;
    std::size_t number = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        readLine(text.substr(0, end), ++number, reading);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return reading;
}

}  // namespace

std::string settingsText(const SettingList& settings) {
    std::string text(head);
    for (const SettingValue& value : settings.values) {
        text += entryText(value);
    }
    return text;
}

EditedSettings readSettingsText(std::string_view text, const SettingList& before) {
    Reading reading = read(text);
    EditedSettings edited{.troubles = std::move(reading.troubles)};
    if (trimmed(text).empty()) {
        return edited;  // an editor that failed leaves such a file, and nobody asks for all defaults with it
    }
    for (const SettingValue& value : before.values) {
        const auto line = reading.texts.find(value.key);
        const bool isThere = line != reading.texts.end();
        if (isThere && (!value.isSet || line->second != value.text)) {
            edited.changes.push_back({.key = value.key, .text = line->second});
        } else if (!isThere && value.isSet && fitsOnLine(value.text)) {
            edited.changes.push_back({.key = value.key});
        }
    }
    return edited;
}

std::vector<std::string> editorWords(const EnvironmentMap& environment) {
    for (const char* name : {"VISUAL", "EDITOR"}) {
        const auto given = environment.find(name);
        if (given == environment.end() || trimmed(given->second).empty()) {
            continue;
        }
        auto words = splitWords(given->second);
        if (!words || words->empty()) {
            throw UserError(std::string(name) + " cannot be read: a quote is left open in it.");
        }
        return *words;
    }
    return {"vi"};
}

}  // namespace quernlight::host
