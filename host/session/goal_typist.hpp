#pragma once

#include <functional>
#include <string>

#include "host/agent/session_mailbox.hpp"
#include "host/events/item_history.hpp"
#include "host/screen/session_screen.hpp"
#include "host/session/goal_delivery.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/queue/queue_repository.hpp"
#include "quernlight/runner/codex_runner.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {

/// What the agent's own records say of a goal's text; see findGoalRecord.
using FindGoalRecord = std::function<Task<GoalRecord>(std::string objective)>;

/// What a goal's delivery acts on. All of it outlives the typing.
struct GoalTyping {
    Uuid itemID;
    Uuid sessionID;
    std::string goal;
    DialogRules dialogs;
    CodexRunner& runner;
    const SessionScreen& screen;
    QueueRepository items;
    Clock& clock;
    FindGoalRecord findRecord;
    SessionMailbox::Continuation mailbox;
    std::function<bool()> isWanted;  ///< false once the agent is being stopped: then no key follows
    std::function<bool()> isPersonTyping = [] { return false; };  ///< then no key comes between theirs
    std::function<void(const DatabaseError&)> onTrouble;  ///< an event that cannot be stored at the moment
};

/// Delivers the goal as GoalDelivery decides, and tells the mailbox of each step. That typing begins is
/// stored before the first key, so that a restart can tell: what cannot be stored could be done twice, so the
/// goal waits while the disk is full.
Task<void> typeGoal(GoalTyping typing);

}  // namespace quernlight::host
