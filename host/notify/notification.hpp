#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

enum class NotificationKind {
    needsYou,   ///< nothing goes on with the bug until a person has done something
    completed,  ///< the work on it is in review
    failed,
    merged,
    paused,  ///< no bug, or none of a repository, is started for a while
};

/// "needs-you", "completed", "failed", "merged" or "paused".
std::string_view nameOf(NotificationKind kind);

/// Something that a person is told of who does not look at the program.
struct Notification {
    NotificationKind kind{};
    std::string bugID{};  ///< empty, as the app's name and the title, when it is about no bug
    std::string appName{};
    std::string title{};
    std::string message{};
    Instant time{};
    std::optional<Uuid> sessionID{};

    bool operator==(const Notification&) const = default;
};

/// The notification as a JSON object on one line, its end included: "event", "bug", "app" and "title" (null
/// when it is about no bug), "message", "time", "session" where there is one, and "home", the dispatch home.
/// Valid UTF-8 whatever comes from outside, and its long texts are cut, so that a pipe holds it.
std::string jsonLineOf(const Notification& notification, const std::filesystem::path& home);

}  // namespace quernlight::host
