#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// One message on a connection that stays open: a text, which is JSON, or bytes.
struct ControlFrame {
    bool isText = true;
    std::string bytes{};

    bool operator==(const ControlFrame&) const = default;
};

/// A connection on which both sides send messages whenever they like (a WebSocket), from either side. One
/// coroutine may receive and another one send at the same time. Used on one executor.
class ControlChannel {
  public:
    /// Why a channel is closed, as the protocol has it (RFC 6455).
    enum class Ending : std::uint16_t { done = 1000, goingAway = 1001, wrongMessage = 1008 };

    virtual ~ControlChannel() = default;

    /// The next message; nothing once the other side has closed the channel or is gone.
    virtual Task<std::optional<ControlFrame>> receive() = 0;

    /// Returns when the other side's kernel has taken the message, which may be long after; whether it has.
    virtual Task<bool> send(ControlFrame frame) = 0;

    /// Says so to the other side and ends; a pending `receive` returns nothing. Waits no longer than a second
    /// for an answer.
    virtual Task<void> close(Ending ending) = 0;
};

}  // namespace quernlight::host
