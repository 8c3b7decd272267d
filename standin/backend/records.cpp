#include "standin/backend/records.hpp"

#include <utility>

#include "quernlight/platform/identifiers.hpp"

namespace quernlight::standin {
namespace {

constexpr std::size_t keptContentBytes = 64 * 1024;

}  // namespace

std::string shortID(std::string_view bugID) {
    return BugID::normalized(bugID);
}

Attachment makeAttachment(std::string filename, std::string contentType, std::string content, Instant now) {
    Attachment attachment;
    attachment.id = randomUuid();
    attachment.filename = std::move(filename);
    attachment.contentType = std::move(contentType);
    attachment.sizeBytes = static_cast<std::int64_t>(content.size());
    if (content.size() <= keptContentBytes) {
        attachment.content = std::move(content);
    }
    attachment.createdAt = now;
    return attachment;
}

}  // namespace quernlight::standin
