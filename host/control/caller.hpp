#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/process_table.hpp"

namespace quernlight::host {

/// Who asks: a person's process, or one of an agent's, which must not see other sessions or steer the owner.
struct Caller {
    bool isPerson = false;
    std::optional<Uuid> session{};  ///< of an agent's process, where that can be told

    bool operator==(const Caller&) const = default;
};

/// A process between a caller and the owner, as far as it matters whose it is.
struct CallerProcess {
    ProcessEntry entry{};
    std::string mark{};          ///< the session that its environment names
    bool isStartedHere = false;  ///< by this program, see isStartedHere
    bool isOlder = false;        ///< than any agent of this program, see isOlderThanAgents
};

/// Shows the process of that pid as it is now; the pid of its entry is -1 when it cannot be seen.
using ProcessLook = std::function<CallerProcess(pid_t)>;

/// The caller, its parent, and so on, up to `owner`, to the first process, or to one whose parent the system
/// does not show. Empty when the caller is gone, and when its ancestors cannot all be told: they are too
/// many, or change whenever one looks.
std::vector<CallerProcess> lineTo(pid_t owner, pid_t caller, const ProcessLook& look);

/// Whose the caller is, by its line (see lineTo). An agent's is what carries another session's mark than the
/// owner itself, what descends from such a process, and what descends from an orphan that came to the owner,
/// unless that is older than any agent. A caller whose line is not known is no person's. Pure.
Caller judgeCaller(const std::vector<CallerProcess>& line, const CallerProcess& owner);

/// The caller at the other end of a connected socket, of an owner that is this process.
Caller callerOf(int connectedSocket);

}  // namespace quernlight::host
