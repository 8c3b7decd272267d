#include "host/worktree/guarded_git.hpp"

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr std::string_view section = "filter.";

bool isPlain(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           std::string_view(" %_=-").find(byte) != std::string_view::npos;
}

/// Such a command names no file, so that its program is the system's.
bool isOfTheSystem(std::string command) {
    std::erase_if(command, [](char byte) { return byte == '"' || byte == '\''; });
    constexpr std::array<std::string_view, 3> known{"git-lfs ", "git lfs ", "git-crypt "};
    return std::ranges::all_of(command, isPlain) &&
           std::ranges::any_of(known, [&](std::string_view program) { return command.starts_with(program); });
}

/// The filters of which a command may run a file of the worktree's. What stands on a line of its own belongs
/// to a command of several lines, which is no known one either.
std::set<std::string> doubtfulFilters(std::string_view filters) {
    std::set<std::string> doubtful;
    std::string last;
    while (!filters.empty()) {
        const std::size_t end = std::min(filters.find('\n'), filters.size());
        const std::string_view line = filters.substr(0, end);
        filters.remove_prefix(std::min(end + 1, filters.size()));
        const std::size_t blank = std::min(line.find(' '), line.size());
        const std::size_t dot = line.substr(0, blank).rfind('.');
        const bool isSetting = line.starts_with(section) && dot != line.npos && dot > section.size();
        if (isSetting) {
            last = line.substr(section.size(), dot - section.size());
        }
        const bool isKnown =
            isSetting && isOfTheSystem(std::string(line.substr(std::min(blank + 1, line.size()))));
        if (!isKnown && !last.empty()) {
            doubtful.insert(last);
        }
    }
    return doubtful;
}

/// Each merge driver is a command of the repository's own. A name with a blank is one that no file can have.
std::set<std::string> mergeDrivers(std::string_view printed) {
    constexpr std::string_view begin = "merge.";
    constexpr std::string_view end = ".driver";
    std::set<std::string> drivers;
    for (const std::string_view line : linesOf(printed)) {
        const std::string_view key = line.substr(0, line.find(' '));
        if (key.starts_with(begin) && key.ends_with(end) && key.size() > begin.size() + end.size()) {
            drivers.emplace(key.substr(begin.size(), key.size() - begin.size() - end.size()));
        }
    }
    return drivers;
}

Task<GitCommandResult> runWith(GitRunner git, std::vector<std::string> options,
                               std::vector<std::string> arguments) {
    std::ranges::move(arguments, std::back_inserter(options));
    co_return co_await git(std::move(options));
}

/// What git-config(1) prints of the settings whose names match.
Task<std::string> settingsOf(GitRunner git, std::string repository, std::string names) {
    std::vector<std::string> look{"-C", std::move(repository), "config", "--get-regexp", std::move(names)};
    GitCommandResult settings = co_await git(std::move(look));
    co_return settings.succeeded() ? std::move(settings.output) : "";
}

/// Asked for one by one, since a value may have several lines.
Task<std::vector<std::string>> optionsFor(GitRunner git, std::string repository) {
    const std::string filters =
        co_await settingsOf(git, repository, "^filter\\..*\\.(clean|smudge|process)$");
    const std::string drivers = co_await settingsOf(git, repository, "^merge\\..*\\.driver$");
    co_return guardOptions(filters, drivers);
}

Task<GitCommandResult> runGuarded(GitRunner git, std::string repository,
                                  std::shared_ptr<std::optional<std::vector<std::string>>> options,
                                  std::vector<std::string> arguments) {
    if (!*options) {
        *options = co_await optionsFor(git, std::move(repository));
    }
    co_return co_await runWith(std::move(git), **options, std::move(arguments));
}

}  // namespace

std::vector<std::string> guardOptions(std::string_view filters, std::string_view drivers) {
    std::vector<std::string> options{"-c", "core.hooksPath=/dev/null", "-c", "core.fsmonitor=false",
                                     "-c", "log.showSignature=false"};
    for (const std::string& driver : mergeDrivers(drivers)) {
        options.insert(options.end(), {"-c", "merge." + driver + ".driver=false"});
    }
    for (const std::string& filter : doubtfulFilters(filters)) {
        for (const char* setting : {".clean=", ".smudge=", ".process=", ".required=false"}) {
            options.insert(options.end(), {"-c", std::string(section) + filter + setting});
        }
    }
    return options;
}

Task<GitRunner> guarded(GitRunner git, std::string repository) {
    const std::vector<std::string> options = co_await optionsFor(git, std::move(repository));
    const GitRunner guardedGit = [git, options](std::vector<std::string> arguments) {
        return runWith(git, options, std::move(arguments));
    };
    co_return guardedGit;
}

GitRunner guardedLater(GitRunner git, std::string repository) {
    const auto options = std::make_shared<std::optional<std::vector<std::string>>>();
    return [git = std::move(git), repository = std::move(repository),
            options](std::vector<std::string> arguments) {
        return runGuarded(git, repository, options, std::move(arguments));
    };
}

}  // namespace quernlight::host
