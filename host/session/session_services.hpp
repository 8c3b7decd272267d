#pragma once

#include <filesystem>
#include <functional>

#include "host/disk_health.hpp"
#include "host/dispatch_store.hpp"
#include "host/instruction_files.hpp"
#include "host/progress_board.hpp"
#include "host/session/backend_health.hpp"
#include "host/session/goal_typing.hpp"
#include "host/session/repository_turns.hpp"
#include "host/session/request_budget.hpp"
#include "host/session/running_time.hpp"
#include "host/settings/settings.hpp"
#include "host/start_pauses.hpp"
#include "quernlight/backend/quernlight_client.hpp"
#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/platform/background_executor.hpp"
#include "quernlight/platform/user_directories.hpp"
#include "quernlight/runner/codex_runner.hpp"

namespace quernlight::host {

/// What everything that moves bugs along borrows from the program; it outlives every session.
struct SessionServices {
    std::filesystem::path home;
    DispatchStore store;
    QueueManager& manager;
    QuernlightClient client;
    CodexRunner& runner;
    GoalTyping& goalTyping;
    BackgroundExecutor& background;
    RepositoryTurns& repositories;
    RequestBudget& commentRequests;
    BackendHealth& health;
    DiskHealth& disk;
    RunningTime& runningTime;
    StartPauses& startPauses;
    InstructionFiles instructions;
    EnvironmentMap environment;  ///< the program's own, from which the agent's is chosen
    const Settings& settings;    ///< as it is now; may change between two looks
    ProgressBoard& board;
    /// False once the home was removed, moved or replaced: then nothing new may begin, for what is written
    /// into it would be lost, or be another owner's.
    std::function<bool()> homeIsInPlace = [] { return true; };
};

}  // namespace quernlight::host
