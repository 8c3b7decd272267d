#pragma once

#include <string>

#include "host/control/control_channel.hpp"

namespace quernlight::host {

/// Lets `sending`, which alone sends on the channel, work until it ends or the other side leaves; returns,
/// also when this is cancelled, once the channel is closed and nothing uses it any more. What comes in is
/// left unread: it only shows that the other side is there. `name` says in messages what the work does.
Task<void> sendUntilLeft(ControlChannel& channel, std::string name, Task<void> sending);

}  // namespace quernlight::host
