#include "host/health/unreadable_records.hpp"

#include <algorithm>
#include <string_view>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t mostNamed = 20;
constexpr std::size_t longestText = 200;  // bytes

/// What comes from outside may be as long as an answer may be.
std::string shortened(const std::string& text) {
    return text.size() <= longestText ? text : validUtf8(text.substr(0, longestText)) + "…";
}

template <class Tell>
void tellFirst(EventPublisher& events, const std::vector<UnreadableRecord>& records, Tell sentenceOn) {
    const std::size_t named = std::min(records.size(), mostNamed);
    for (std::size_t index = 0; index < named; ++index) {
        events.noticeOnce(sentenceOn(records[index]));
    }
    if (records.size() > named) {
        events.noticeOnce("More than " + std::to_string(mostNamed) +
                          " records of one list of the backend cannot be read; the others are not named.");
    }
}

}  // namespace

std::string describe(const UnreadableRecord& record) {
    const std::string name = record.id ? shortened(*record.id) : "without an id";
    const std::string field = record.field.empty() ? "" : shortened(record.field) + ": ";
    return name + " (" + field + shortened(record.problem) + ")";
}

void tellUnreadableBugs(EventPublisher& events, const std::vector<UnreadableRecord>& bugs) {
    tellFirst(events, bugs, [](const UnreadableRecord& bug) {
        return "A bug is left out, because the backend's record of it cannot be read: " + describe(bug) +
               ". It counts again once that is put right at the backend.";
    });
}

void tellUnreadableComments(EventPublisher& events, const std::string& bugID,
                            const std::vector<UnreadableRecord>& comments) {
    tellFirst(events, comments, [&](const UnreadableRecord& comment) {
        return "A comment on bug " + bugID + " is left out, because it cannot be read: " + describe(comment) +
               ". It counts again once that is put right at the backend.";
    });
}

}  // namespace quernlight::host
