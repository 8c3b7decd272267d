#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "host/dispatch_store.hpp"
#include "host/instruction_files.hpp"
#include "host/progress_board.hpp"
#include "host/repository_turns.hpp"
#include "quernlight/backend/quernlight_client.hpp"
#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/platform/background_executor.hpp"
#include "quernlight/platform/user_directories.hpp"
#include "quernlight/runner/codex_runner.hpp"
#include "quernlight/runner/session_timeouts.hpp"

namespace quernlight::host {

/// How sessions are run.
struct SessionSettings {
    std::vector<std::string> agentCommand{"codex"};
    int columns = 120;
    int rows = 40;
    std::chrono::milliseconds commentPollInterval = std::chrono::seconds(5);
    SessionTimeoutSettings timeouts{.idleTimeoutSeconds = 1800, .postExitCommentGraceSeconds = 120};
};

/// What a session borrows from the program; made by `main`'s commands, outlives every session.
struct SessionServices {
    std::filesystem::path home;
    DispatchStore store;
    QueueManager& manager;
    QuernlightClient client;
    CodexRunner& runner;
    BackgroundExecutor& background;
    RepositoryTurns& repositories;
    InstructionFiles instructions;
    EnvironmentMap agentEnvironment;
    SessionSettings settings;
    ProgressBoard& board;
};

}  // namespace quernlight::host
