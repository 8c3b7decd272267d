#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/screen/dialog.hpp"
#include "host/screen/screen_picture.hpp"

namespace quernlight::host {

enum class AgentState : std::uint8_t {
    unknown,   ///< nothing that is known is on the screen, which is never "ready"
    dialog,    ///< it asks something and takes no text
    working,   ///< at a turn, which can be interrupted
    starting,  ///< its composer may be there, but it still loads, or sets no title: after some time of quiet,
               ///< idle
    idle,      ///< its composer takes text
};

std::string_view nameOf(AgentState state);

/// What an agent does, read from its screen.
struct AgentActivity {
    AgentState state = AgentState::unknown;
    std::string_view rule{};         ///< the name of the rule that said so
    std::string reason{};            ///< what it found
    std::optional<Dialog> dialog{};  ///< when it is one that was made out
};

/// By an ordered table of rules, of which the first that applies counts: dialog above working, working above
/// starting, starting above idle. A picture that is being drawn may show half of what it will.
AgentActivity agentActivity(const ScreenPicture& picture);

/// What each rule says of the screen, in their order: "composer: row 8, empty" or "composer: no".
std::vector<std::string> explainActivity(const ScreenPicture& picture);

/// How an agent that works says that it tries to reach its model again, without the mark and the time, which
/// change, around it. Nothing when it does not.
std::optional<std::string> reconnection(const ScreenPicture& picture);

/// The last notice above the composer or at the screen's end, without its mark "■": what went wrong, as the
/// agent tells it, on one line. Nothing when something else came after it.
std::optional<std::string> lastNotice(const ScreenPicture& picture);

}  // namespace quernlight::host
