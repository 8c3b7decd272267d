#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/io_context.hpp>

#include "host/dispatcher/dispatcher.hpp"
#include "host/process/home_lock.hpp"
#include "host/process/stop_request.hpp"
#include "host/view/log_board.hpp"
#include "quernlight/platform/url.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

struct DispatchProgramOptions {
    std::filesystem::path home;      ///< exists
    const HomeLock* lock = nullptr;  ///< on the home; outlives the program
    std::optional<Url> backend{};    ///< absent: the setting
    std::string adminToken;
    EnvironmentMap environment;   ///< the caller's; what the agent gets of it is chosen here
    SettingOverrides settings{};  ///< above what is stored
    DispatcherSettings dispatcher{};
};

/// Everything that moves bugs along, wired over one dispatch home that this process owns (see HomeLock): what
/// both `run` and the demo do, until `stop` is raised or nothing is left to do. Throws UserError when there
/// is no agent program or the home cannot be used.
Task<void> dispatchBugs(DispatchProgramOptions options, ProgressBoard& board, StopRequest& stop);

struct BoardOptions {
    LogFormat format = LogFormat::text;
    std::optional<std::string> logFile{};  ///< gets the log as well
    bool history = true;                   ///< on a terminal: events scroll by above the live view
};

/// A board for standard output: the live view on a terminal, log lines otherwise or when JSON is wished for
/// and has no file of its own. Throws UserError when the log file cannot be written.
std::unique_ptr<ProgressBoard> makeBoard(const boost::asio::any_io_executor& executor,
                                         const BoardOptions& options);

}  // namespace quernlight::host
