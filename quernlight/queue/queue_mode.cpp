#include "quernlight/queue/queue_mode.hpp"

#include "quernlight/queue/raw_values.hpp"

namespace quernlight {

std::string_view rawValue(QueueMode mode) {
    return mode == QueueMode::manual ? "manual" : "auto";
}

std::optional<QueueMode> queueModeFromRawValue(std::string_view text) {
    return caseOfRawValue(allQueueModes, text);
}

std::string_view id(QueueMode mode) {
    return rawValue(mode);
}

std::string_view title(QueueMode mode) {
    return mode == QueueMode::manual ? "Manual" : "Auto";
}

}  // namespace quernlight
