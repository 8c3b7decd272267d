#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/agent/agent_launch.hpp"
#include "host/agent/agent_run.hpp"
#include "host/agent/first_launch.hpp"
#include "host/agent/live_screens.hpp"
#include "host/agent/ready_prompts.hpp"
#include "host/health/start_pauses.hpp"
#include "host/process/stop_request.hpp"
#include "host/session/goal_typist.hpp"
#include "host/session/session_log.hpp"
#include "host/settings/settings.hpp"
#include "host/tools/tool_access.hpp"
#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// The agent of one session and what is recorded of it: its start, what becomes of its goal, its exit. It is
/// stopped only once.
class SessionAgent {
  public:
    struct Uses {
        CodexRunner& runner;
        ReadyPrompts& readyPrompts;
        FirstLaunch& firstLaunch;
        ToolAccess& tools;
        std::filesystem::path toolServer;
        std::filesystem::path home;
        BackgroundExecutor& drawing;
        LiveScreens& screens;
        DispatchStore store;
        QueueManager& manager;
        StartPauses& startPauses;
        DiskHealth& disk;
        const StopRequest& stop;
        Clock& clock;
        const EnvironmentMap& environment;  ///< the program's own, from which the agent's is chosen
        const Settings& settings;
        const FindGoalRecord& findGoalRecord;
    };

    SessionAgent(Uses uses, SessionState& state, SessionLog& log);

    /// Records the attempt: from here on the item is this session's. Throws DatabaseError.
    Task<void> recordAttempt(std::string goal);

    /// Starts the agent, whose goal is typed by itself, and records that it runs. Why it cannot be started,
    /// or nothing. Throws DatabaseError.
    Task<std::optional<OutsideFailure>> start(TaskSet& tasks);

    /// Returns when it may be started, or the program is to stop.
    Task<void> awaitTurn();

    /// Records that the goal was not typed since no agent was started.
    Task<void> noteUnstarted();

    /// It does its work, so that nothing limits its use.
    void noteWork();

    /// Takes what was told of its goal; types it once the prompt is ready.
    Task<void> noteTyping(SessionEvent event);

    /// What stands on its terminal.
    const SessionScreen& screen() const { return run_.screen(); }

    /// Runs the stop escalation until the agent has exited, and records that.
    Task<void> stop();

    /// Once the agent has exited: records that it has, and sees to it that nothing of it lives on.
    Task<void> recordExit();

    /// From now on its tools take no call; returns once those under way have been made, some seconds later at
    /// the latest: what they report counts as the agent's. Whether none is under way any more.
    Task<bool> closeTools();

    /// From now on its tools do nothing.
    void endTools() { uses_.tools.revoke(state_.sessionID); }

    /// What of the goal is not typed yet will not be.
    void forgetGoal() {
        uses_.readyPrompts.forget(state_.sessionID);
        isGoalWanted_ = false;
    }

    SessionMailbox::Continuation mailbox() const { return run_.mailbox(); }
    Task<std::optional<SessionEvent>> nextUntil(Clock::TimePoint deadline) {
        return run_.nextUntil(deadline);
    }
    void look();
    bool hasProcess(const ProcessEntry& process) const { return run_.hasProcess(process); }

  private:
    LiveAgent liveAgent() const;
    Task<void> recordStart(StartSessionResponse started);
    Task<void> noteWhileStopping(SessionEvent event);
    Task<void> noteAcceptance(GoalAccepted accepted);
    Task<void> noteWhetherItHadItsGoal();
    void beginTyping();
    Task<void> noteLeftovers();
    StartSessionRequest startRequest();
    AgentLaunch launch();
    std::vector<std::string> grantTools();
    EnvironmentMap environment() const;

    const Uses uses_;
    SessionState& state_;
    SessionLog& log_;
    AgentRun run_;
    LiveScreens::Entry shownScreen_;  // from the start on
    bool hasTurn_ = false;            // to be started, see awaitTurn
    bool isStopped_ = false;          // the escalation has been run
    bool isExitRecorded_ = true;  // from the start on only once its end is stored and nothing of it is left
    TaskSet* tasks_ = nullptr;    // from the start on
    bool isGoalWanted_ = true;
    bool isGoalTypedWhole_ = false;
    Clock::TimePoint begunAt_{};
    std::optional<Clock::TimePoint> hasGoalSince_{};
};

}  // namespace quernlight::host
