#include "host/commands/config_edit.hpp"

#include <algorithm>
#include <fstream>
#include <iostream>

#include "host/commands/command_output.hpp"
#include "host/commands/service_call.hpp"
#include "host/process/text_editor.hpp"
#include "host/process/user_error.hpp"
#include "host/service/configuration_json.hpp"
#include "host/service/settings_text.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/control_characters.hpp"

namespace quernlight::host {
namespace {

constexpr const char* fileName = "settings-edit";

/// Why what was typed is not done, for now.
struct NotDone {
    std::vector<std::string> sentences;
};

Task<void> readAll(DispatchService& service, SettingList& settings) {
    settings = co_await service.settings();
}

Task<void> apply(DispatchService& service, std::vector<SettingChange> changes, SettingList& settings) {
    settings = co_await service.changeSettings(std::move(changes));
}

void tell(const SettingList& now, const std::vector<SettingChange>& changes) {
    constexpr std::size_t mostShown = 1 << 16;
    for (const SettingChange& change : changes) {
        const auto value = std::ranges::find(now.values, change.key, &SettingValue::key);
        if (value != now.values.end()) {
            std::cout << value->key << " is now "
                      << escapedLine(shownSetting(value->text, value->unit), mostShown)
                      << "; that takes effect " << describe(value->takesEffect) << ".\n";
        }
    }
    std::cout << (changes.empty() ? "Nothing was changed.\n" : "") << std::flush;
}

/// Returns what was changed. Throws NotDone.
std::vector<SettingChange> changeAsEdited(DispatchService& service, const std::string& text,
                                          SettingList& settings) {
    EditedSettings edited = readSettingsText(text, settings);
    if (!edited.troubles.empty()) {
        throw NotDone{std::move(edited.troubles)};
    }
    if (edited.changes.empty()) {
        return {};
    }
    try {
        if (statusOf(apply(service, edited.changes, settings)) != 0) {
            throw NotDone{{"Interrupted."}};
        }
    } catch (const std::runtime_error& error) {
        throw NotDone{{error.what()}};
    }
    return edited.changes;
}

/// What earlier edits have left that were killed: what was typed there is the person's.
void tellCutOff(const std::filesystem::path& home, const std::string& offered) {
    for (const std::filesystem::path& file : leftEdited(home, fileName)) {
        std::ifstream stream(file, std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        std::error_code error;
        if (stream && text == offered) {
            std::filesystem::remove(file, error);
        } else {
            std::cerr << "An earlier edit is not done; what was typed is in "
                      << withoutControls(file.string()) << "; remove it once you need it no more.\n";
        }
    }
}

UserError kept(EditedFile& file, const std::string& why) {
    file.keep();
    return UserError(why + " What you typed is kept in " + file.path().string() + ".");
}

/// Whether the person wants to go on with a text that was not done.
bool wantsToGoOn(const NotDone& notDone) {
    for (const std::string& sentence : notDone.sentences) {
        std::cerr << withoutControls(sentence) << "\n";
    }
    return canAsk() && confirmed("Nothing was changed. Edit it again?");
}

}  // namespace

int editSettings(DispatchService& service, const std::filesystem::path& home, bool asJson) {
    const auto editor = editorWords(currentEnvironmentMap());
    SettingList settings;
    if (const int interrupted = statusOf(readAll(service, settings)); interrupted != 0) {
        return interrupted;
    }
    const std::string offered = settingsText(settings);
    tellCutOff(home, offered);
    EditedFile file(home, fileName, offered);
    while (true) {
        const int status = runEditor(editor, file.path());
        const std::string text = file.content();
        if (status != 0 && text != offered) {
            throw kept(
                file, "The editor ended with status " + std::to_string(status) + ", so nothing was changed.");
        }
        if (status != 0) {
            throw UserError("The editor ended with status " + std::to_string(status) +
                            ", so nothing was changed.");
        }
        try {
            const auto changes = changeAsEdited(service, text, settings);
            if (asJson) {
                CommandOutput().printJson(jsonOf(settings));
            } else {
                tell(settings, changes);
            }
            return 0;
        } catch (const NotDone& notDone) {
            if (!wantsToGoOn(notDone)) {
                throw kept(file, "Nothing was changed.");
            }
        }
    }
}

}  // namespace quernlight::host
