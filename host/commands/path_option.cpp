#include "host/commands/path_option.hpp"

#include <algorithm>
#include <filesystem>
#include <optional>

#include <pwd.h>

#include "quernlight/platform/text.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {
namespace {

/// Empty when there is no such user.
std::string homeOf(const std::string& user) {
    if (user.empty()) {
        return userHomeDirectory(currentEnvironmentMap()).string();
    }
    const struct passwd* entry = getpwnam(user.c_str());
    return entry && entry->pw_dir ? entry->pw_dir : "";
}

constexpr std::string_view option = "--home";

using Word = std::vector<std::string>::const_iterator;

/// The directory that "--home DIR" or "--home=DIR" names there.
std::optional<std::string> homeAt(Word word, Word end) {
    if (word->starts_with(std::string(option) + "=")) {
        return word->substr(option.size() + 1);
    }
    if (*word != option) {
        return std::nullopt;
    }
    if (std::next(word) == end || std::next(word)->starts_with('-')) {
        throw CLI::ValidationError("--home needs a directory; give one behind it");
    }
    return *std::next(word);
}

std::filesystem::path placeOf(const std::string& home) {
    std::error_code error;
    const auto place = std::filesystem::weakly_canonical(withUserHome(home), error);
    return error ? std::filesystem::path(home) : place;
}

void refuseAnother(const std::optional<std::string>& home, const std::string& other) {
    if (home && placeOf(*home) != placeOf(other)) {
        throw CLI::ValidationError("--home is given twice: " + *home + " and " + other +
                                   "; a command works on one home");
    }
}

}  // namespace

std::string withUserHome(std::string path) {
    if (!path.starts_with('~')) {
        return path;
    }
    const std::size_t end = std::min(path.find('/'), path.size());
    const std::string home = homeOf(path.substr(1, end - 1));
    return home.empty() ? path : home + path.substr(end);
}

std::vector<std::string> withHomeLast(const std::vector<std::string>& words) {
    const auto end = std::ranges::find(words, "--");
    std::vector<std::string> ordered;
    std::optional<std::string> home;
    for (auto word = words.begin(); word != end; ++word) {
        if (const auto given = homeAt(word, end)) {
            refuseAnother(home, *given);
            home = given;
            word += word->size() == option.size() ? 1 : 0;
        } else {
            ordered.push_back(*word);
        }
    }
    if (home && home->starts_with('-')) {
        ordered.push_back(std::string(option) + "=" + *home);
    } else if (home) {
        ordered.insert(ordered.end(), {std::string(option), *home});
    }
    ordered.insert(ordered.end(), end, words.end());
    return ordered;
}

CLI::Option* addBugOption(CLI::App& app, std::string& bugID) {
    return app.add_option("bug", bugID, "The bug's id, or as much of its beginning as no other's has")
        ->required()
        ->check([](const std::string& given) {
            return trimmed(given).empty() ? "the bug's id is empty; give its first eight characters" : "";
        });
}

CLI::Option* addStateOption(CLI::App& app, const std::string& names, std::optional<SessionStage>& target,
                            const std::string& help) {
    const auto read = [&target](const std::string& words) {
        std::string name = lowercased(words);
        std::ranges::replace(name, ' ', '_');
        target = parseStageName(name);
        if (!target) {
            throw CLI::ValidationError("there is no state \"" + words +
                                       "\"; queue list shows them, like \"needs reply\"");
        }
    };
    return app.add_option_function<std::string>(names, read, help);
}

std::string givenPath(const std::string& path) {
    if (path.empty()) {
        throw CLI::ValidationError("the path is empty");
    }
    return withUserHome(path);
}

}  // namespace quernlight::host
