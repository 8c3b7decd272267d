#pragma once

#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/events/session_stage.hpp"

namespace quernlight::host {

/// `path` with a leading "~" or "~/", which a shell leaves alone in "--home=~/bugs", made the user's home,
/// and "~name" that of another user. What names no user stays as it is.
std::string withUserHome(std::string path);

/// The same; throws CLI::ValidationError when there is no path.
std::string givenPath(const std::string& path);

/// An option for a path, which is never empty; `target` is a std::filesystem::path, a std::string, or an
/// optional one.
template <class Target>
CLI::Option* addPathOption(CLI::App& app, const std::string& names, Target& target, const std::string& help) {
    return app.add_option(names, target, help)->transform([](const std::string& path) {
        return givenPath(path);
    });
}

template <class Target>
void addHomeOption(CLI::App& app, Target& home) {
    addPathOption(app, "--home", home, "Dispatch home; default: the user's own");
}

/// The bug that a command is for; never empty.
CLI::Option* addBugOption(CLI::App& app, std::string& bugID);

/// A state of a bug, as lists show it: "in review" or "in_review", letter case ignored.
CLI::Option* addStateOption(CLI::App& app, const std::string& names, std::optional<SessionStage>& target,
                            const std::string& help);

/// A command line whose "--home DIR", which may stand anywhere, stands behind its other words (before "--"),
/// once. Throws CLI::ValidationError when two different directories are given, or none behind it.
std::vector<std::string> withHomeLast(const std::vector<std::string>& words);

}  // namespace quernlight::host
