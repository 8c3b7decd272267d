#pragma once

#include <filesystem>
#include <functional>

#include "host/agent/first_launch.hpp"
#include "host/agent/instruction_files.hpp"
#include "host/agent/live_screens.hpp"
#include "host/agent/ready_prompts.hpp"
#include "host/events/item_history.hpp"
#include "host/health/backend_health.hpp"
#include "host/health/disk_health.hpp"
#include "host/health/rate_limiter.hpp"
#include "host/health/running_time.hpp"
#include "host/health/start_pauses.hpp"
#include "host/process/clock.hpp"
#include "host/process/stop_request.hpp"
#include "host/settings/settings.hpp"
#include "host/store/dispatch_store.hpp"
#include "host/tools/tool_access.hpp"
#include "host/worktree/repository_locks.hpp"
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
    ReadyPrompts& readyPrompts;
    FirstLaunch& firstLaunch;
    ToolAccess& tools;
    std::filesystem::path toolServer{};  ///< the program with the command mcp; empty: agents get no tools
    BackgroundExecutor& background;
    BackgroundExecutor& drawing;  ///< of the agents' screens
    LiveScreens& screens;
    RepositoryLocks& repositories;
    Clock& clock;
    StopRequest& stop;
    RateLimiter& commentRateLimiter;
    BackendHealth& health;
    DiskHealth& disk;
    RunningTime& runningTime;
    StartPauses& startPauses;
    InstructionFiles instructions;
    EnvironmentMap environment;  ///< the program's own, from which the agent's is chosen
    const Settings& settings;    ///< as it is now; may change between two looks
    EventPublisher& events;
    HistoryPublisher& history;
    /// False once the home was removed, moved or replaced: then nothing new may begin, for what is written
    /// into it would be lost, or be another owner's.
    std::function<bool()> homeIsInPlace = [] { return true; };
};

}  // namespace quernlight::host
