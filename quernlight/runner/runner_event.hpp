#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight {

/// What happens to one session, in the order `started`, any number of `output`, `exited`. `failed` is for
/// consumers; no runner of this library emits it.
class RunnerEvent {
  public:
    struct Started {
        Uuid sessionID{};
        std::int32_t pid = -1;
        Instant date{};

        bool operator==(const Started&) const = default;
    };

    struct Output {
        Uuid sessionID{};
        std::string bytes;  ///< one chunk exactly as it was read; it may end inside a character
        Instant date{};

        bool operator==(const Output&) const = default;
    };

    struct Exited {
        Uuid sessionID{};
        /// The exit status, or 128 plus the number of the signal. 0 is also that of a child whose status
        /// is lost, because the host ignores SIGCHLD or reaps the children of others.
        std::int32_t exitCode = 0;
        Instant date{};

        bool operator==(const Exited&) const = default;
    };

    struct Failed {
        Uuid sessionID{};
        std::string message;
        Instant date{};

        bool operator==(const Failed&) const = default;
    };

    using Payload = std::variant<Started, Output, Exited, Failed>;

    RunnerEvent(Started payload) : payload_(payload) {}
    RunnerEvent(Output payload) : payload_(std::move(payload)) {}
    RunnerEvent(Exited payload) : payload_(payload) {}
    RunnerEvent(Failed payload) : payload_(std::move(payload)) {}

    const Payload& payload() const { return payload_; }

    /// The payload of that case, or null when the event is of another one.
    const Started* started() const { return std::get_if<Started>(&payload_); }
    const Output* output() const { return std::get_if<Output>(&payload_); }
    const Exited* exited() const { return std::get_if<Exited>(&payload_); }
    const Failed* failed() const { return std::get_if<Failed>(&payload_); }

    const Uuid& sessionID() const {
        return std::visit([](const auto& payload) -> const Uuid& { return payload.sessionID; }, payload_);
    }
    Instant date() const {
        return std::visit([](const auto& payload) { return payload.date; }, payload_);
    }

    bool operator==(const RunnerEvent&) const = default;

  private:
    Payload payload_;
};

}  // namespace quernlight
