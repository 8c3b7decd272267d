#pragma once

#include <compare>
#include <optional>
#include <string>
#include <variant>

#include "host/events/event_kind.hpp"
#include "host/events/session_stage.hpp"
#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight::host {

/// Where a bug is on its way.
struct BugProgress {
    std::string bugID{};
    std::string appName{};
    std::string title{};
    SessionStage stage = SessionStage::queued;
    std::string detail{};           ///< the agent's last line, or why it failed; may be empty
    std::optional<int> exitCode{};  ///< of the agent, once it has gone

    bool operator==(const BugProgress&) const = default;
};

/// The stage in words; of an agent that has exited also how: "exited (code 3)", "ended by SIGSEGV".
std::string stageText(const BugProgress& progress);

/// The progress of an item that no session works on.
BugProgress restingProgress(const BugQueueItem& item);

/// What an alert is about.
enum class AlertTopic {
    backend,       ///< it does not answer
    comments,      ///< those of a bug cannot be read
    disk,          ///< the home cannot be written
    home,          ///< it was moved or removed
    memory,        ///< too little is free for another session
    orphanedGits,  ///< of an earlier run
    starts,        ///< pause, altogether or in one repository, for a cause outside of the bugs
    starting,      ///< a bug is kept from it
    reconciling,   ///< a bug is kept from it
    retiring,      ///< a bug is kept from it
    intake,        ///< bugs that are not taken in
};

/// An alert's name: at most one holds for a topic and what it concerns.
struct AlertKey {
    AlertTopic topic{};
    std::string subject{};  ///< a bug's id, a repository, or nothing

    auto operator<=>(const AlertKey&) const = default;
};

/// An event of an item's history was stored. Of an event that ends a session `event.sessionID` is that
/// session's, though it is stored without.
struct ItemChanged {
    std::string bugID{};
    QueueEvent event{};
};

/// The bug has left the queue; nothing more is said of it.
struct ItemRemoved {
    std::string bugID{};
};

/// The bug's stage changed.
struct StageChanged {
    BugProgress progress{};
};

/// The bug's stage is as before, but not its detail: the agent's last line, mostly.
struct DetailChanged {
    BugProgress progress{};
};

/// Something holds, until it is cleared, that a person may have to do something about.
struct AlertRaised {
    AlertKey key{};
    std::string sentence{};
};

struct AlertCleared {
    AlertKey key{};
};

/// A setting counts with another value from now on.
struct SettingChanged {
    std::string sentence{};
};

/// Something to tell that belongs to no bug's history.
struct Notice {
    std::string sentence{};
};

/// Everything that happens in a running dispatcher.
using DispatchEvent = std::variant<ItemChanged, ItemRemoved, StageChanged, DetailChanged, AlertRaised,
                                   AlertCleared, SettingChanged, Notice>;

}  // namespace quernlight::host
