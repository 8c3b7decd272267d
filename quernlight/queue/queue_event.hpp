#pragma once

#include <optional>
#include <string>

#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/uuid.hpp"

namespace quernlight {

/// One line of a queue item's history.
struct QueueEvent {
    Uuid id{};
    Uuid queueItemID{};
    std::optional<Uuid> sessionID{};  ///< the runner session that the event belongs to
    std::string kind{};
    std::string message{};                      ///< for people
    std::optional<std::string> metadataJSON{};  ///< a JSON document with details, stored verbatim
    Instant createdAt{};

    bool operator==(const QueueEvent&) const = default;
};

}  // namespace quernlight
