#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "standin/backend/http_message.hpp"
#include "standin/codex/goal.hpp"

namespace quernlight::standin::model {

/// A function that the agent offers to the model, named as it must be called.
struct OfferedTool {
    std::string name;
    std::string group{};  ///< the namespace it stands in; empty: none

    bool operator==(const OfferedTool&) const = default;
};

/// What came back for a call of the model.
struct CallOutput {
    std::string callID;
    std::string text;
};

/// One request of an agent, read as a model would read it. Agents tell a goal in several ways, depending on
/// their release; all of them end up in `objective`.
struct Conversation {
    std::string thread;                    ///< the agent's own id of it; empty when it names none
    std::string agent;                     ///< name and version, as it calls itself
    std::string objective;                 ///< the goal in force, without "/goal"; empty: none
    std::optional<codex::Goal> goal;       ///< the same, where it is an order of the dispatcher
    std::vector<CallOutput> outputs;       ///< of the model's own calls, oldest first
    std::vector<OfferedTool> tools;        ///< what is offered now
    std::vector<std::string> userTexts{};  ///< messages that a person typed, and no context of the agent's

    /// Short form, in lower case; empty without a goal.
    std::string bugID() const { return goal ? goal->bugID : ""; }
    std::string sessionID() const { return goal ? goal->sessionID : ""; }

    /// The offered function of that name, whatever it is grouped under or prefixed with.
    std::optional<OfferedTool> toolNamed(std::string_view name) const;
};

/// Reads the body and the headers of a request for an answer. Throws InvalidInput.
Conversation readConversation(const Request& request);

}  // namespace quernlight::standin::model
