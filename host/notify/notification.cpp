#include "host/notify/notification.hpp"

#include <array>

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace json = boost::json;
namespace {

// Bytes; JSON may make six of each.
constexpr std::size_t mostOfMessage = 1500;
constexpr std::size_t mostOfTitle = 300;
constexpr std::size_t mostOfName = 100;

/// In the order of the enumeration.
constexpr std::array<std::string_view, 5> names{"needs-you", "completed", "failed", "merged", "paused"};
static_assert(names.size() == static_cast<std::size_t>(NotificationKind::paused) + 1);

constexpr bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// At most so many bytes, "…" included, and no half character.
std::string shortened(const std::string& text, std::size_t most) {
    constexpr std::string_view mark = "…";
    if (text.size() <= most) {
        return validUtf8(text);
    }
    std::size_t end = most - mark.size();
    while (end > 0 && continuesCharacter(text[end])) {
        --end;
    }
    return validUtf8(text.substr(0, end)).append(mark);
}

json::value ofBug(const Notification& notification, const std::string& text, std::size_t most) {
    return notification.bugID.empty() ? json::value(nullptr) : json::value(shortened(text, most));
}

}  // namespace

std::string_view nameOf(NotificationKind kind) {
    return names.at(static_cast<std::size_t>(kind));
}

std::string jsonLineOf(const Notification& notification, const std::filesystem::path& home) {
    json::object line{{"event", nameOf(notification.kind)},
                      {"bug", ofBug(notification, notification.bugID, mostOfName)},
                      {"app", ofBug(notification, notification.appName, mostOfName)},
                      {"title", ofBug(notification, notification.title, mostOfTitle)},
                      {"message", shortened(notification.message, mostOfMessage)},
                      {"time", formatInstant(notification.time)}};
    if (notification.sessionID) {
        line["session"] = upperCaseText(*notification.sessionID);
    }
    line["home"] = validUtf8(home.string());
    return json::serialize(line) + "\n";
}

}  // namespace quernlight::host
