#include "host/live/browser.hpp"

#include <filesystem>
#include <sstream>

#include <sys/wait.h>
#include <unistd.h>

#include "host/process/unclaimed_children.hpp"
#include "host/process/user_error.hpp"
#include "quernlight/platform/spawn.hpp"

namespace quernlight::host {
namespace {

#ifdef __APPLE__
constexpr const char* systemsOwn = "open";
#else
constexpr const char* systemsOwn = "xdg-open";
#endif

std::string valueOf(const EnvironmentMap& environment, const std::string& name) {
    const auto found = environment.find(name);
    return found == environment.end() ? "" : found->second;
}

bool isProgram(const std::filesystem::path& file) {
    std::error_code error;
    return std::filesystem::is_regular_file(file, error) && ::access(file.c_str(), X_OK) == 0;
}

/// Empty when it is not found. A name with a slash is a path.
std::string programNamed(const std::string& name, const std::string& path) {
    if (name.find('/') != std::string::npos) {
        return isProgram(name) ? name : "";
    }
    std::istringstream directories(path);
    for (std::string directory; !name.empty() && std::getline(directories, directory, ':');) {
        const auto file = std::filesystem::path(directory) / name;
        if (directory.starts_with('/') && isProgram(file)) {
            return file;
        }
    }
    return "";
}

}  // namespace

std::string browserProgram(const EnvironmentMap& environment) {
    const std::string path = valueOf(environment, "PATH");
    std::istringstream wanted(valueOf(environment, "BROWSER"));
    for (std::string name; std::getline(wanted, name, ':');) {
        const std::string program = programNamed(name, path);
        if (!program.empty()) {
            return program;
        }
    }
    return programNamed(systemsOwn, path);
}

/// By a shell that leaves it running, so that it is nobody's child whose end would have to be awaited.
void openInBrowser(const Url& page, const EnvironmentMap& environment) {
    if (page.scheme() != "http" && page.scheme() != "https") {
        throw UserError("That is no page of the web: " + page.text());
    }
    const std::string program = browserProgram(environment);
    if (program.empty()) {
        throw UserError("No browser was found (BROWSER may name one); the page is " + page.text());
    }
    SpawnRequest request{.executable = "/bin/sh",
                         .arguments = {"sh", "-c", "\"$1\" \"$2\" &", "sh", program, page.text()},
                         .environment = currentEnvironment()};
    request.environment.emplace_back(openedForPerson);
    int status = 0;
    ::waitpid(spawnProcess(request), &status, 0);
}

}  // namespace quernlight::host
