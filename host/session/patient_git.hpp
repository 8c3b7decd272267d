#pragma once

#include "host/session/stop_switch.hpp"
#include "host/settings/settings.hpp"
#include "quernlight/git/git_runner.hpp"

namespace quernlight::host {

/// Git whose fetches, which wait for a far side that may never answer, end when `stop` is pressed or when the
/// setting's patience is over; the result then says so and is no success. Whatever else git does is quick and
/// is cut only by `kill`: a worktree should not be left half made. Who reads values from the results asks for
/// `GitOutput::answer`. Borrows all for as long as it is used.
GitRunner patientGit(StopSwitch& stop, StopSwitch& kill, const Settings& settings,
                     GitOutput output = GitOutput::combined);

}  // namespace quernlight::host
