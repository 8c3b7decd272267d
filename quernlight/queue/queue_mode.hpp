#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace quernlight {

/// Which of the two queues an item sits in; each has positions of its own.
enum class QueueMode {
    automatic,  ///< stored as "auto"
    manual,
};

inline constexpr std::array allQueueModes{QueueMode::automatic, QueueMode::manual};

/// The text that is stored.
std::string_view rawValue(QueueMode mode);

/// Nothing for a text that is not exactly a raw value.
std::optional<QueueMode> queueModeFromRawValue(std::string_view text);

/// Identifies the mode in a list; its raw value.
std::string_view id(QueueMode mode);

/// The label shown to people.
std::string_view title(QueueMode mode);

}  // namespace quernlight
