#include "demo/environment.hpp"

#include <cstdlib>

#include "host/process/user_error.hpp"
#include "quernlight/platform/process_table.hpp"

namespace quernlight::demo {
namespace fs = std::filesystem;
namespace {

bool isHarmless(const std::string& name) {
    return name == "LANG" || name == "LANGUAGE" || name == "TZ" || name == "TMPDIR" || name == "TERM" ||
           name.starts_with("LC_") || name == "ASAN_OPTIONS" || name == "UBSAN_OPTIONS" ||
           name == "TSAN_OPTIONS" || name == "LSAN_OPTIONS";
}

std::string pathBehind(const fs::path& first, const EnvironmentMap& inherited) {
    const auto path = inherited.find("PATH");
    return first.string() + ":" + (path == inherited.end() ? "/usr/bin:/bin" : path->second);
}

}  // namespace

StandInPrograms StandInPrograms::locate() {
    const fs::path programs = programLocation().parent_path();
    StandInPrograms found{.backend = programs / "standin-backend",
                          .agentDirectory = programs.parent_path() / "standin-codex",
                          .gitTransport = programs / "standin-git-transport",
                          .dispatcher = programs / "quernlight-dispatch"};
    for (const fs::path& needed :
         {found.backend, found.agentDirectory / "codex", found.gitTransport, found.dispatcher}) {
        if (!fs::exists(needed)) {
            throw host::UserError(
                "The demo needs " + needed.string() +
                ", which is not there; run the demo from the project's build with: make demo");
        }
    }
    return found;
}

EnvironmentMap demoEnvironment(const EnvironmentMap& inherited, const DemoDirectory& directory,
                               const StandInPrograms& programs) {
    EnvironmentMap environment;
    for (const auto& [name, value] : inherited) {
        if (isHarmless(name)) {
            environment.emplace(name, value);
        }
    }
    environment["PATH"] = pathBehind(programs.agentDirectory, inherited);
    environment["HOME"] = directory.userHome().string();
    environment["CODEX_HOME"] = directory.codexHome().string();
    environment["GIT_CONFIG_NOSYSTEM"] = "1";
    return environment;
}

void adoptEnvironment(const EnvironmentMap& environment) {
    for (const auto& [name, value] : currentEnvironmentMap()) {
        if (!environment.contains(name)) {
            unsetenv(name.c_str());
        }
    }
    for (const auto& [name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
}

}  // namespace quernlight::demo
