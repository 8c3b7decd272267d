#pragma once

#include "host/dispatcher/chore.hpp"
#include "host/dispatcher/running_sessions.hpp"
#include "host/process/orphan_reaper.hpp"
#include "host/process/unclaimed_children.hpp"

namespace quernlight::host {

/// Watches the processes that have come to this one and belong to nobody here: reaps them, and tells a person
/// of those that live. Used on the dispatcher's executor.
class OrphanWatch {
  public:
    OrphanWatch(ChoreContext& context, const RunningSessions& sessions)
        : context_(context), sessions_(sessions) {}

    /// Before anything is started: ends the gits of an earlier owner, which may still change a repository, or
    /// remove what they have half done. Waits, and says so, until none is left. Throws UserError when that
    /// cannot be had and nobody waits for it.
    Task<void> endGitsOfEarlierOwner();

    /// Wanted about once a second.
    void look();

  private:
    bool isClaimed(const ProcessEntry& process) const;

    ChoreContext& context_;
    const RunningSessions& sessions_;
    OrphanReaper reaper_;
    UnclaimedChildren unclaimed_;
};

}  // namespace quernlight::host
