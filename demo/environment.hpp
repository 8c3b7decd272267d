#pragma once

#include <filesystem>

#include "demo/directory.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight::demo {

/// The programs that stand in for a backend, an agent and a git host, and the dispatcher whose tools the
/// agent uses, beside this program in the build tree.
struct StandInPrograms {
    std::filesystem::path backend;
    std::filesystem::path agentDirectory;  ///< holds the agent under the name "codex"
    std::filesystem::path gitTransport;
    std::filesystem::path dispatcher;

    /// Throws UserError when they are not there.
    static StandInPrograms locate();
};

/// The whole environment of a demo: a home, a git identity and an agent home of its own, so that nothing of
/// the user's is read or written. Of the caller's variables only those about language and programs stay.
EnvironmentMap demoEnvironment(const EnvironmentMap& inherited, const DemoDirectory& directory,
                               const StandInPrograms& programs);

/// Makes `environment` this process's own, for git reads it there. Before any thread is started.
void adoptEnvironment(const EnvironmentMap& environment);

}  // namespace quernlight::demo
