#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/io_context.hpp>

#include "host/dispatcher/dispatcher.hpp"
#include "host/process/home_lock.hpp"
#include "host/process/stop_request.hpp"
#include "host/view/views.hpp"
#include "quernlight/platform/url.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

struct DispatchProgramOptions {
    std::filesystem::path home;                        ///< exists
    const HomeLock* lock = nullptr;                    ///< on the home; outlives the program
    std::optional<Url> backend{};                      ///< absent: the setting
    std::optional<std::filesystem::path> tokenFile{};  ///< absent: see tokenSource
    std::optional<std::uint16_t> listenPort{};         ///< of 127.0.0.1; 0 is any; absent: the socket alone
    std::filesystem::path toolServer{};  ///< the program with the command mcp; empty: agents get no tools
    EnvironmentMap environment;          ///< the caller's; what the agent gets of it is chosen here
    SettingOverrides settings{};         ///< above what is stored
    DispatcherSettings dispatcher{};
};

/// Everything that moves bugs along, wired over one dispatch home that this process owns (see HomeLock): what
/// both `run` and the demo do, until `stop` is raised or nothing is left to do. Tells `events` of all that
/// happens, and closes `views` at the end. Throws UserError when there is no agent program or the home cannot
/// be used.
Task<void> dispatchBugs(DispatchProgramOptions options, EventPublisher& events, Views& views,
                        StopRequest& stop);

}  // namespace quernlight::host
