#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/screen/agent_activity.hpp"
#include "host/screen/composer.hpp"

namespace quernlight::host {

/// What a session needs to know of its agent's screen.
struct AgentReading {
    AgentActivity activity{};
    std::optional<Composer> composer{};  ///< absent when there is none, or a question covers it
    bool bracketedPaste = false;
    std::vector<std::string> lines{};  ///< of the screen
    std::string summary{};             ///< its last lines with something to read, on one line

    /// Whether the screen lists the command, below what was typed or right above it.
    bool offers(std::string_view command) const;

    /// Whether the screen says, above the composer, that there is no such command.
    bool denies(std::string_view command) const;

    bool isComposerEmpty() const { return composer && composer->text.empty(); }

    /// Whether nothing but the command stands in the composer.
    bool hasTyped(std::string_view command) const { return composer && composer->text == command; }
};

AgentReading readAgent(const ScreenPicture& picture);

/// The reading of a screen of which nothing is known: the agent writes faster than it is drawn, or output was
/// left out (`lacksOutput`) and it has not drawn its screen anew since.
AgentReading unknownReading(bool lacksOutput);

}  // namespace quernlight::host
