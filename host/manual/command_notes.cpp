#include "host/manual/command_notes.hpp"

#include <algorithm>
#include <array>
#include <cctype>

namespace quernlight::host {
namespace {

struct ValueName {
    std::string_view option;
    std::string_view value;
};

constexpr auto valueNames = std::to_array<ValueName>({
    {"--app", "NAME"},
    {"--attach", "FILE"},
    {"--attempt", "NUMBER"},
    {"--backend", "URL"},
    {"--base", "BRANCH"},
    {"--before", "BUG"},
    {"--branch", "BRANCH"},
    {"--bundle", "BUNDLE"},
    {"--date", "DATE"},
    {"--description", "DESCRIPTION"},
    {"--exit-grace", "SECONDS"},
    {"--home", "DIR"},
    {"--idle-timeout", "SECONDS"},
    {"--limit", "NUMBER"},
    {"--listen", "PORT"},
    {"--log-file", "FILE"},
    {"--max-sessions", "NUMBER"},
    {"--repo", "DIR"},
    {"--secret-file", "FILE"},
    {"--session", "ID"},
    {"--since", "TIME"},
    {"--speed", "NUMBER"},
    {"--state", "STATE"},
    {"--status", "STATUS"},
    {"--timeout", "SECONDS"},
    {"--title", "TITLE"},
    {"--to", "DIR"},
    {"--token-file", "FILE"},
    {"--until", "STATE"},
    {"--worktrees", "DIR"},
});

constexpr std::string_view daily = "Daily work";
constexpr std::string_view sessions = "Agents at work";
constexpr std::string_view setUp = "Set-up";
constexpr std::string_view programs = "For shells and agents";
constexpr std::string_view others = "More";

constexpr std::array groups{daily, sessions, setUp, others, programs};

struct CommandGroup {
    std::string_view command;
    std::string_view group;
};

constexpr auto commandsByGroup = std::to_array<CommandGroup>({
    {"run", daily},    {"status", daily},      {"watch", daily},      {"queue", daily},
    {"bugs", daily},   {"answer", daily},      {"review", daily},     {"preserved", daily},
    {"report", daily}, {"sessions", sessions}, {"unpause", sessions}, {"init", setUp},
    {"map", setUp},    {"config", setUp},      {"token", setUp},      {"service", setUp},
    {"doctor", setUp}, {"demo", setUp},        {"mcp", programs},     {"completion", programs},
});

constexpr auto examples = std::to_array<CommandExample>({
    {"run", "quernlight-dispatch run --token-file ~/.quernlight-token --dry-run",
     "Say what would be enqueued and started", true},
    {"run", "quernlight-dispatch run --token-file ~/.quernlight-token", "Work on bugs until it is stopped",
     true},
    {"run", "quernlight-dispatch run --token-file ~/.quernlight-token --once --max-sessions 1",
     "Work on what is there, one bug after another, and end"},
    {"run", "quernlight-dispatch run --listen 8080",
     "Offer the local API on a port of 127.0.0.1 as well, to who has the token in listen.token"},
    {"map set", "quernlight-dispatch map set --bundle com.example.notes --app Notes --repo ~/src/notes",
     "Have the bugs of Notes worked on in that repository", true},
    {"map list", "quernlight-dispatch map list", "List which app's bugs are worked on where"},
    {"queue list", "quernlight-dispatch queue list", "List the bugs, what needs you first", true},
    {"queue show", "quernlight-dispatch queue show 7c41e0ab",
     "Show one bug's history, why it waits and its transcript"},
    {"queue next", "quernlight-dispatch queue next 7c41e0ab", "Have a waiting bug started first"},
    {"queue list", "quernlight-dispatch queue list --state \"in review\"", "List only those in one state"},
    {"queue add", "quernlight-dispatch queue add 7c41e0ab", "Take in a bug that intake leaves out"},
    {"queue move", "quernlight-dispatch queue move 7c41e0ab --before 2e9b6d14",
     "Have one bug worked on before another"},
    {"queue wait", "quernlight-dispatch queue wait 7c41e0ab --exit-status", "Wait for a bug in a script"},
    {"status", "quernlight-dispatch status", "See how all stands, and what needs you", true},
    {"status", "quernlight-dispatch status --json | jq .need_person", "The same for a program"},
    {"watch", "quernlight-dispatch watch", "Watch what goes on, and take a hand in it by keys", true},
    {"answer", "quernlight-dispatch answer b05d83f7 \"Press it twice.\"",
     "Answer what the agent of a bug has asked"},
    {"bugs list", "quernlight-dispatch bugs list --status open", "List the backend's open bugs"},
    {"bugs show", "quernlight-dispatch bugs show 7c41e0ab", "Read a bug with its comments"},
    {"bugs comment", "quernlight-dispatch bugs comment 7c41e0ab \"See this.\" --attach shot.png",
     "Comment on a bug, with a file"},
    {"review list", "quernlight-dispatch review list",
     "List the pull requests that wait for you, and which of them conflict"},
    {"review reap", "quernlight-dispatch review reap --dry-run",
     "Say which merged bugs would leave, and what would be kept"},
    {"preserved list", "quernlight-dispatch preserved list", "List what was kept of worktrees that went"},
    {"preserved show", "quernlight-dispatch preserved show 7c41e0ab", "Look at what is kept of a bug's work"},
    {"preserved restore", "quernlight-dispatch preserved restore 7c41e0ab --to ~/src/notes-7c41e0ab",
     "Have it back, in a worktree"},
    {"report", "quernlight-dispatch report", "Read in the morning what came of the night", true},
    {"report", "quernlight-dispatch report --since 2d --json | jq .totals",
     "The same of two days, for a program"},
    {"map check", "quernlight-dispatch map check", "Look whether every mapping can still be used"},
    {"map remove", "quernlight-dispatch map remove com.example.notes", "Forget where an app is worked on"},
    {"sessions attach", "quernlight-dispatch sessions attach 7c41e0ab",
     "Sit down at an agent's terminal; Ctrl-] leaves it", true},
    {"sessions send", "quernlight-dispatch sessions send 7c41e0ab \"Go on, please.\" --enter",
     "Type a line into it"},
    {"sessions log", "quernlight-dispatch sessions log 7c41e0ab -f", "Follow what an agent writes"},
    {"sessions replay", "quernlight-dispatch sessions replay 7c41e0ab --speed 8",
     "Watch an attempt again, eight times as fast"},
    {"sessions stop", "quernlight-dispatch sessions stop 7c41e0ab", "Stop an agent, and hold its bug"},
    {"sessions resume", "quernlight-dispatch sessions resume 7c41e0ab", "Go on in the same conversation"},
    {"queue retry", "quernlight-dispatch queue retry 7c41e0ab", "Queue a bug that failed again"},
    {"queue retry", "quernlight-dispatch queue retry 7c41e0ab --again",
     "Do finished work once more; asks first"},
    {"config list", "quernlight-dispatch config list", "List every setting"},
    {"config set", "quernlight-dispatch config set sessions.max 4", "Let four agents work at the same time"},
    {"config edit", "quernlight-dispatch config edit", "Change several in your editor"},
    {"config unset", "quernlight-dispatch config unset sessions.max", "Go back to the default"},
    {"sessions list", "quernlight-dispatch sessions list", "List what runs, and what each agent does"},
    {"sessions show", "quernlight-dispatch sessions show 7c41e0ab --screen",
     "Show what stands on an agent's screen"},
    {"sessions show", "quernlight-dispatch sessions show 7c41e0ab --explain",
     "Say what that screen is taken for, and why"},
    {"init", "quernlight-dispatch init",
     "Make the home and look at what agents are told, before the first run"},
    {"service install", "quernlight-dispatch service install --token-file ~/.quernlight-token --dry-run",
     "Show the file that would be written"},
    {"service install", "quernlight-dispatch service install --token-file ~/.quernlight-token",
     "Start the dispatcher now and at every login; asks first"},
    {"service install", "quernlight-dispatch service install --listen 8080 --max-sessions 3 --yes",
     "The same without a question, with the local API on a port of 127.0.0.1, too"},
    {"service status", "quernlight-dispatch service status", "Say whether it runs, and where its log is"},
    {"service uninstall", "quernlight-dispatch service uninstall", "Stop it, and start it no more"},
    {"completion",
     "quernlight-dispatch completion bash > ~/.local/share/bash-completion/completions/quernlight-dispatch",
     "In bash; its output may also be sourced"},
    {"completion", "quernlight-dispatch completion zsh > ~/.zfunc/_quernlight-dispatch",
     "In zsh, in a directory of its fpath, before compinit runs"},
    {"completion",
     "quernlight-dispatch completion fish > ~/.config/fish/completions/quernlight-dispatch.fish", "In fish"},
    {"unpause", "quernlight-dispatch unpause", "Try at once what a cause outside the bugs held up"},
});

constexpr auto variables = std::to_array<HeededVariable>({
    {"QUERNLIGHT_DISPATCH_HOME", "", "Dispatch home where --home does not name one"},
    {"XDG_DATA_HOME", "",
     "Directory in which the user's own dispatch home lies, on Linux; default: ~/.local/share"},
    {"QUERNLIGHT_TOKEN_FILE", "run service doctor token bugs answer queue report review watch",
     "File that holds the administrator token where --token-file names none"},
    {"XDG_CONFIG_HOME", "service",
     "Directory in which systemd's user units lie, on Linux; default: ~/.config"},
    {"VISUAL, EDITOR", "config", "The editor of \"config edit\"; default: vi"},
    {"PATH", "run service", "Where the agent and git are looked for"},
    {"CODEX_HOME", "run service", "The agent's own home; handed on to it; default: ~/.codex"},
    {"https_proxy, no_proxy, ...", "run",
     "Proxies on the way to the backend, as curl heeds them; also the agent's"},
    {"NO_COLOR", "run watch status queue bugs sessions review report doctor",
     "When not empty, nothing is shown in colours"},
    {"TERM", "run watch", "When it is \"dumb\", there is no view; run prints lines in its place"},
    {"BROWSER", "run watch", "The program that shows pages, the first that is found of those between colons"},
    {"TMPDIR", "run", "Where temporary files are made; default: /tmp"},
});

/// What a command that says nothing gets for a value: the name of its type.
bool isTypeName(const std::string& declared) {
    return declared.empty() || declared == "TEXT" || declared == "INT" || declared == "UINT" ||
           declared == "FLOAT";
}

std::string upperCase(std::string name) {
    std::ranges::transform(name, name.begin(),
                           [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return name;
}

/// Whether `command` is the one that `path` names, or lies beneath it.
bool isWithin(std::string_view command, std::string_view path) {
    return path.empty() || command == path ||
           (command.starts_with(path) && command.size() > path.size() && command[path.size()] == ' ');
}

bool names(std::string_view list, std::string_view word) {
    return (" " + std::string(list) + " ").find(" " + std::string(word) + " ") != std::string::npos;
}

}  // namespace

std::string valueName(const std::string& name, const std::string& declared) {
    if (!isTypeName(declared)) {
        return declared;
    }
    const auto known = std::ranges::find(valueNames, std::string_view(name), &ValueName::option);
    if (known != valueNames.end()) {
        return std::string(known->value);
    }
    if (!name.starts_with('-')) {
        return upperCase(name);
    }
    return declared == "TEXT" || declared.empty() ? "TEXT" : "NUMBER";
}

std::string_view groupOf(std::string_view command) {
    const auto known = std::ranges::find(commandsByGroup, command, &CommandGroup::command);
    return known == commandsByGroup.end() ? others : known->group;
}

std::span<const std::string_view> commandGroups() {
    return groups;
}

std::span<const CommandExample> commandExamples() {
    return examples;
}

std::vector<CommandExample> examplesOf(const CommandDescription& command) {
    const std::string path = joined(command.path, " ");
    std::vector<CommandExample> found;
    std::ranges::copy_if(examples, std::back_inserter(found),
                         [&](const CommandExample& example) { return isWithin(example.command, path); });
    return found;
}

std::vector<HeededVariable> variablesOf(const CommandDescription& command) {
    std::vector<HeededVariable> heeded;
    std::ranges::copy_if(variables, std::back_inserter(heeded), [&](const HeededVariable& variable) {
        return variable.commands.empty() || command.path.empty() ||
               names(variable.commands, command.path.front());
    });
    return heeded;
}

}  // namespace quernlight::host
