#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "host/screen/screen_picture.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

class AgentTerminal;

/// What can be seen of a session's agent at one moment.
struct LiveAgent {
    std::int64_t attemptNumber = 0;
    std::optional<std::int32_t> pid{};  ///< absent once it has exited
    Instant since{};                    ///< its start
    std::shared_ptr<const ScreenPicture> picture = std::make_shared<const ScreenPicture>();
    std::shared_ptr<AgentTerminal> terminal{};  ///< to attach to
};

/// The screens of the sessions that run, for whoever wants to look at them: each session enters its own. Used
/// on one executor.
class LiveScreens {
  public:
    /// Must not wait.
    using Look = std::function<LiveAgent()>;

    /// The screen is shown for as long as this lives, which may be longer than the registry does.
    using Entry = std::shared_ptr<const Look>;

    /// In place of one that the bug has already.
    [[nodiscard]] Entry enter(const std::string& bugID, Look look);

    /// What the agents that were entered have written, in all.
    std::uint64_t recordedBytes() const { return *recorded_; }

    /// Nothing when no session with an agent works on the bug.
    std::optional<LiveAgent> look(const std::string& bugID) const;

  private:
    std::map<std::string, std::weak_ptr<const Look>> looks_;  // by bug, in short form
    const std::shared_ptr<std::uint64_t> recorded_ = std::make_shared<std::uint64_t>(0);
};

}  // namespace quernlight::host
