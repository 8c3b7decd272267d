#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "host/control/control_channel.hpp"
#include "host/screen/screen_picture.hpp"

namespace quernlight::host {

// The messages on the channel of one session's terminal; docs/sessions.md describes them.

/// A picture follows as one binary message.
struct PictureBegins {
    std::string bug{};
    std::int64_t attempt = 0;
    std::string title{};
    TerminalSize size{};
    bool setsSize = false;           ///< whether this client does
    std::uint64_t byte = 0;          ///< the number of the output's byte behind the picture
    std::uint64_t screenBegins = 0;  ///< how many bytes of the picture are scroll-back

    bool operator==(const PictureBegins&) const = default;
};

struct SizeChanged {
    TerminalSize size{};
    bool setsSize = false;

    bool operator==(const SizeChanged&) const = default;
};

struct SessionEnded {
    std::string sentence{};

    bool operator==(const SessionEnded&) const = default;
};

/// Of the session's output, or of a picture, whose number is that of the byte behind it.
struct TerminalBytes {
    std::uint64_t number = 0;
    std::string bytes{};

    bool operator==(const TerminalBytes&) const = default;
};

using TerminalMessage = std::variant<PictureBegins, SizeChanged, SessionEnded, TerminalBytes>;

ControlFrame frameOf(const TerminalMessage& message);

/// Nothing when it is none of them.
std::optional<TerminalMessage> messageIn(const ControlFrame& frame);

struct Keys {
    std::string bytes{};

    bool operator==(const Keys&) const = default;
};

/// So many bytes behind the numbers of binary messages were taken altogether.
struct Acknowledgement {
    std::uint64_t bytes = 0;

    bool operator==(const Acknowledgement&) const = default;
};

struct ClientSize {
    TerminalSize size{};

    bool operator==(const ClientSize&) const = default;
};

using ClientMessage = std::variant<Keys, Acknowledgement, ClientSize>;

ControlFrame frameOf(const ClientMessage& message);

/// Nothing when it is none of them.
std::optional<ClientMessage> clientMessageIn(const ControlFrame& frame);

}  // namespace quernlight::host
