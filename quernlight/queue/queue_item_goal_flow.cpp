#include "quernlight/queue/queue_item_goal_flow.hpp"

#include "quernlight/queue/raw_values.hpp"

namespace quernlight {

std::string_view rawValue(QueueItemGoalFlow goalFlow) {
    return goalFlow == QueueItemGoalFlow::addressReview ? "address_review" : "fix_bug";
}

std::optional<QueueItemGoalFlow> queueItemGoalFlowFromRawValue(std::string_view text) {
    return caseOfRawValue(allQueueItemGoalFlows, text);
}

}  // namespace quernlight
