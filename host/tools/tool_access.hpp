#pragma once

#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/health/rate_limiter.hpp"
#include "host/tools/call_memory.hpp"
#include "quernlight/backend/records.hpp"
#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight::host {

/// What a session lends its agent while it lives: its bug to change, its app's bugs to read, and two
/// directories whose files may be attached.
struct ToolGrant {
    Uuid sessionID{};
    BugQueueItem item{};
    std::filesystem::path worktree{};
    std::filesystem::path attemptDirectory{};
    /// Told of each comment that the agent has posted, as the backend has it. Must not throw or wait.
    std::function<void(const QLCommentDTO&)> reported = [](const QLCommentDTO&) {};
};

/// A session as the tools see it. It outlives its session where a call is still under way.
struct ToolSession {
    ToolGrant grant{};
    std::string secret{};
    bool isLive = true;  ///< takes calls
    bool isRevoked = false;
    RateLimiter rate;
    CallMemory calls{};
    std::string lastStatus{};                                  ///< that was set; empty: none yet
    std::map<std::string, RateLimiter::TimePoint> refusals{};  ///< when each was told of last
    bool isIntrusionTold = false;                              ///< that it asked for what is not for it
};

/// Which sessions may use the tools, and by which secret. Owned by the program, used on one executor.
class ToolAccess {
  public:
    /// Makes the session's secret, 256 random bits, and returns the file that holds it: "tool-secret" in the
    /// attempt's directory, for this user alone. Throws UserError when it cannot be written.
    std::filesystem::path grant(ToolGrant grant);

    /// The session is ending: from here on its secret is worth nothing, and its file goes. Calls that are
    /// under way may still be made.
    void close(const Uuid& sessionID);

    /// The session has ended, and what its calls come to from now on concerns nobody.
    void revoke(const Uuid& sessionID);

    /// A session that has, or had, access; null when there was none.
    std::shared_ptr<ToolSession> session(const Uuid& sessionID) const;

    /// Whether the secret is that of any session that lives.
    bool knows(const std::string& secret) const;

    /// Whether the secret is that of the session, and the session lives.
    static bool opens(const ToolSession& session, const std::string& secret);

  private:
    std::map<Uuid, std::shared_ptr<ToolSession>> sessions_;
    std::deque<Uuid> ended_;  // kept for a while, so that a late call is told so; the oldest first
};

/// Where a session's secret lies.
std::filesystem::path toolSecretFile(const std::filesystem::path& attemptDirectory);

/// The command by which the agent starts its tool server. `program` is this one; the secret itself is in no
/// argument and in no environment.
std::vector<std::string> toolServerCommand(const std::filesystem::path& program,
                                           const std::filesystem::path& home, const Uuid& sessionID,
                                           const std::filesystem::path& secretFile);

}  // namespace quernlight::host
