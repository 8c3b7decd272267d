#include "host/settings/setting_descriptions.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <system_error>

#include "host/process/user_error.hpp"
#include "host/settings/backend_address.hpp"
#include "host/settings/word_list.hpp"
#include "quernlight/platform/text.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {
namespace {

using enum TakesEffect;

constexpr double week = 7 * 24 * 3600;

const std::array descriptions{
    SettingDescription{"backend.url", &Settings::backendURL, "", 0, 0, atTheNextStart,
                       "Address of the bug backend, http or https."},
    SettingDescription{"backend.token_file", &Settings::backendTokenFile, "", 0, 0, atTheNextStart,
                       "File that holds the administrator token, where it is not in the token store."},
    SettingDescription{"sessions.max", &Settings::maxSessions, "", 1, 64, atOnce,
                       "Agents at work at the same time."},
    SettingDescription{"sessions.memory_floor_mib", &Settings::memoryFloorMiB, "MiB", 0, 1 << 20, atOnce,
                       "No session starts while less memory than this is available."},
    SettingDescription{"sessions.idle_timeout_seconds", &Settings::idleTimeoutSeconds, "s", 1, week, atOnce,
                       "A session without output or a new comment for longer than this fails."},
    SettingDescription{"sessions.post_exit_grace_seconds", &Settings::postExitGraceSeconds, "s", 0, week,
                       atOnce, "How long after the agent's exit its completion comment may still come."},
    SettingDescription{"intake.enabled", &Settings::intakeEnabled, "", 0, 0, atOnce,
                       "Whether new bugs are taken from the backend."},
    SettingDescription{"intake.per_day", &Settings::intakePerDay, "bugs", 0, 100000, atOnce,
                       "New bugs taken in a day (UTC) at most."},
    SettingDescription{"poll.comments_seconds", &Settings::pollCommentsSeconds, "s", 0.1, 3600, atOnce,
                       "Pause between two looks at the comments of a bug that is worked on."},
    SettingDescription{"poll.bugs_seconds", &Settings::pollBugsSeconds, "s", 0.1, 24 * 3600, atOnce,
                       "Pause between two looks at the backend's bugs."},
    SettingDescription{"poll.merge_seconds", &Settings::pollMergeSeconds, "s", 0.1, 24 * 3600, atOnce,
                       "Pause between two looks at whether work in review has been merged."},
    SettingDescription{"agent.command", &Settings::agentCommand, "", 1, 64, withTheNextSession,
                       "The agent's program and arguments, never run through a shell; words with blanks in "
                       "double quotes."},
    SettingDescription{"agent.environment", &Settings::agentEnvironment, "", 0, 256, withTheNextSession,
                       "Names of environment variables that the agent gets besides the usual ones."},
    SettingDescription{"agent.trust", &Settings::agentTrust, "", 0, 0, withTheNextSession,
                       "Whether the agent is told to trust mapped repositories and their worktrees; else it "
                       "asks a person in each."},
    SettingDescription{"agent.answer_dialogs", &Settings::agentAnswerDialogs, "", 0, 0, withTheNextSession,
                       "Whether the agent's questions about goals (replace an old one, resume a paused one) "
                       "are answered."},
    SettingDescription{"terminal.columns", &Settings::terminalColumns, "characters", 20, 65535,
                       withTheNextSession,
                       "Width of the agent's terminal; one below 80 counts as 80, one above 1000 as 1000."},
    SettingDescription{"terminal.rows", &Settings::terminalRows, "lines", 5, 65535, withTheNextSession,
                       "Height of the agent's terminal; one below 24 counts as 24, one above 500 as 500."},
    SettingDescription{"git.fetch_seconds", &Settings::gitFetchSeconds, "s", 1, 86400, atOnce,
                       "How long a fetch from a repository's remote may take."},
    SettingDescription{"git.command_seconds", &Settings::gitCommandSeconds, "s", 1, 86400, atOnce,
                       "How long any other git command may take, with its hooks and filters."},
    SettingDescription{"retire.enabled", &Settings::retireEnabled, "", 0, 0, atOnce,
                       "Whether bugs leave the queue, and their worktrees the disk, once their pull request "
                       "is merged."},
    SettingDescription{"notify.command", &Settings::notifyCommand, "", 0, 64, atOnce,
                       "Program and arguments, never run through a shell, that get one line of JSON on "
                       "standard input when a bug needs you, is completed, failed or merged, and when starts "
                       "pause."},
    SettingDescription{"notify.webhook", &Settings::notifyWebhook, "", 0, 0, atOnce,
                       "Address to which the same JSON is posted."},
    SettingDescription{"stop.exit_seconds", &Settings::stopExitSeconds, "s", 0, 600, atOnce,
                       "Patience after an agent was told to exit (/exit)."},
    SettingDescription{"stop.enter_seconds", &Settings::stopEnterSeconds, "s", 0, 600, atOnce,
                       "Patience after one more Enter key, pressed while /exit still stands there."},
    SettingDescription{"stop.interrupt_seconds", &Settings::stopInterruptSeconds, "s", 0, 600, atOnce,
                       "Patience after an interrupt."},
    SettingDescription{"stop.terminate_seconds", &Settings::stopTerminateSeconds, "s", 0, 600, atOnce,
                       "Patience after a request to terminate."},
    SettingDescription{"stop.kill_seconds", &Settings::stopKillSeconds, "s", 1, 600, atOnce,
                       "Patience after a kill, before a person is told."},
};

template <class Number>
std::optional<Number> parseNumber(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

template <class Number>
std::optional<Number> parseInRange(std::string_view text, const SettingDescription& description) {
    const auto number = parseNumber<Number>(text);
    const bool inRange = number && static_cast<double>(*number) >= description.least &&
                         static_cast<double>(*number) <= description.most;
    return inRange ? number : std::nullopt;
}

std::optional<bool> parseFlag(std::string_view text) {
    const std::string word = lowercased(text);
    if (word == "true" || word == "yes" || word == "on") {
        return true;
    }
    return word == "false" || word == "no" || word == "off" ? std::optional(false) : std::nullopt;
}

bool isWebhook(const SettingDescription& description) {
    return description.member == SettingMember(&Settings::notifyWebhook);
}

bool isFile(const SettingDescription& description) {
    return description.member == SettingMember(&Settings::backendTokenFile);
}

/// An absolute path, since whoever reads the file is elsewhere; or none.
std::optional<std::string> parseFile(std::string_view text) {
    const bool isAbsolute = text.empty() || text.starts_with('/') || text.starts_with("~/");
    const bool isPath = isAbsolute && text.find('\0') == std::string_view::npos;
    if (!isPath) {
        return std::nullopt;
    }
    return text.empty() ? "" : standardizedPath(std::string(text));
}

/// Its refusal says more than that it is not allowed.
std::optional<std::string> parseAddress(std::string_view text, const SettingDescription& description) {
    if (!isWebhook(description)) {
        return parseBackendAddress(std::string(text)).text();
    }
    return text.empty() ? "" : parseWebhookAddress(std::string(text)).text();
}

bool namesVariables(const SettingDescription& description) {
    return description.member == SettingMember(&Settings::agentEnvironment);
}

/// Of an environment: letters, digits and underscores, no digit first.
bool isVariable(const std::string& name) {
    const auto isLetter = [](char character) {
        return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
               character == '_';
    };
    const auto isAllowed = [&](char character) {
        return isLetter(character) || (character >= '0' && character <= '9');
    };
    return !name.empty() && isLetter(name.front()) && std::ranges::all_of(name, isAllowed);
}

/// The first word of a command.
bool isProgram(const std::string& word) {
    return !trimmed(word).empty() && !word.ends_with('/');
}

std::optional<std::vector<std::string>> parseWords(std::string_view text,
                                                   const SettingDescription& description) {
    auto words = splitWords(text);
    const bool inRange = words && static_cast<double>(words->size()) >= description.least &&
                         static_cast<double>(words->size()) <= description.most;
    const bool isAllowed =
        inRange && (namesVariables(description) ? std::ranges::all_of(*words, isVariable)
                                                : words->empty() || isProgram(words->front()));
    return isAllowed ? words : std::nullopt;
}

/// Reads the text as the type of the member that it is for.
struct Reader {
    std::string_view text;
    const SettingDescription& description;

    std::optional<std::string> operator()(std::string Settings::*) const {
        return isFile(description) ? parseFile(text) : parseAddress(text, description);
    }
    std::optional<int> operator()(int Settings::*) const { return parseInRange<int>(text, description); }
    std::optional<double> operator()(double Settings::*) const {
        return parseInRange<double>(text, description);
    }
    std::optional<bool> operator()(bool Settings::*) const { return parseFlag(text); }
    std::optional<std::vector<std::string>> operator()(std::vector<std::string> Settings::*) const {
        return parseWords(text, description);
    }
};

std::string numberText(double number) {
    std::array<char, 32> text{};
    const auto [end, error] =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    return {text.data(), end};
}

struct Writer {
    std::string operator()(const std::string& value) const { return value; }
    std::string operator()(int value) const { return std::to_string(value); }
    std::string operator()(double value) const { return numberText(value); }
    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(const std::vector<std::string>& value) const { return joinWords(value); }
};

std::string rangeText(const SettingDescription& description) {
    return " from " + numberText(description.least) + " to " + numberText(description.most);
}

struct Allowed {
    const SettingDescription& description;

    std::string operator()(std::string Settings::*) const {
        if (isFile(description)) {
            return "an absolute path, or nothing";
        }
        return isWebhook(description) ? "an http or https address, or nothing"
                                      : "an address like https://bugs.example";
    }
    std::string operator()(int Settings::*) const { return "a whole number" + rangeText(description); }
    std::string operator()(double Settings::*) const { return "a number" + rangeText(description); }
    std::string operator()(bool Settings::*) const { return "true or false"; }
    std::string operator()(std::vector<std::string> Settings::*) const {
        if (namesVariables(description)) {
            return "space-separated names of variables";
        }
        return description.least > 0 ? "space-separated words, a program first"
                                     : "space-separated words, a program first, or none";
    }
};

/// The keys of the group before the dot, or all of them.
std::string keysNear(std::string_view key) {
    const std::string_view group = key.substr(0, key.find('.'));
    std::string near;
    std::string all;
    for (const SettingDescription& description : descriptions) {
        const std::string name = (all.empty() ? "" : ", ") + std::string(description.key);
        all += name;
        if (description.key.starts_with(std::string(group) + ".")) {
            near += (near.empty() ? "" : ", ") + std::string(description.key);
        }
    }
    return near.empty() ? all : near;
}

}  // namespace

std::span<const SettingDescription> settingDescriptions() {
    return descriptions;
}

const SettingDescription& settingDescription(std::string_view key) {
    for (const SettingDescription& description : descriptions) {
        if (description.key == key) {
            return description;
        }
    }
    throw UserError("There is no setting \"" + std::string(key) + "\"; there are: " + keysNear(key) + ".");
}

void assignSetting(Settings& settings, const SettingDescription& description, std::string_view text) {
    if (!isValidUtf8(text)) {
        throw UserError(std::string(description.key) + " must be a text in UTF-8; \"" + std::string(text) +
                        "\" is not.");
    }
    const std::string_view value = trimmed(text);
    std::visit(
        [&](auto member) {
            auto parsed = Reader{value, description}(member);
            if (!parsed) {
                throw UserError(std::string(description.key) + " must be " + describeAllowed(description) +
                                "; \"" + std::string(text) + "\" is not.");
            }
            settings.*member = std::move(*parsed);
        },
        description.member);
}

std::string settingText(const Settings& settings, const SettingDescription& description) {
    return std::visit([&](auto member) { return Writer{}(settings.*member); }, description.member);
}

std::string shownSetting(const std::string& text, std::string_view unit) {
    if (text.empty()) {
        return "(none)";
    }
    const bool isOfOne = text == "1" && unit.size() > 3 && unit.ends_with('s');  // "bugs", and not "s"
    const std::string_view shown = unit.substr(0, unit.size() - (isOfOne ? 1 : 0));
    return shown.empty() ? text : text + " " + std::string(shown);
}

std::string describeAllowed(const SettingDescription& description) {
    return std::visit(Allowed{description}, description.member);
}

std::string_view describe(TakesEffect takesEffect) {
    switch (takesEffect) {
        case atOnce:
            return "at once";
        case withTheNextSession:
            return "with the next session";
        case atTheNextStart:
            break;
    }
    return "at the next start";
}

}  // namespace quernlight::host
