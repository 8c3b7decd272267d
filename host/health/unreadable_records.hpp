#pragma once

#include <string>
#include <vector>

#include "host/events/event_publisher.hpp"
#include "quernlight/backend/readable_list.hpp"

namespace quernlight::host {

/// "ID (FIELD: what is wrong)", cut where it is long.
std::string describe(const UnreadableRecord& record);

// Each record is named once in the life of the publisher; of very many in one list the first ones.

void tellUnreadableBugs(EventPublisher& events, const std::vector<UnreadableRecord>& bugs);
void tellUnreadableComments(EventPublisher& events, const std::string& bugID,
                            const std::vector<UnreadableRecord>& comments);

}  // namespace quernlight::host
