#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace quernlight {

/// What the agent is asked to do with a bug.
enum class QueueItemGoalFlow {
    fixBug,         ///< fix the reported bug
    addressReview,  ///< work through the review of an existing pull request
};

inline constexpr std::array allQueueItemGoalFlows{QueueItemGoalFlow::fixBug,
                                                  QueueItemGoalFlow::addressReview};

/// The text that is stored: "fix_bug" or "address_review".
std::string_view rawValue(QueueItemGoalFlow goalFlow);

/// Nothing for a text that is not exactly a raw value.
std::optional<QueueItemGoalFlow> queueItemGoalFlowFromRawValue(std::string_view text);

}  // namespace quernlight
