#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json.hpp>

#include "quernlight/platform/instant.hpp"
#include "standin/model/conversation.hpp"

namespace quernlight::standin::model {

/// One thing that the model does. As JSON:
///
///     {"do": "shell", "command": "make"}                   a command, with the shell tool that is offered
///     {"do": "tool", "tool": NAME, "arguments": {...}}     a call of an offered tool
///     {"do": "say", "text": "..."}                         a message, which ends the agent's turn
///     {"do": "complete"}                                   sets the goal complete, where there is a tool for
///     it
///     {"do": "wait", "seconds": 60}                        sends nothing for so long, then does the next
///     step
///     {"do": "refuse", "status": 429, "resets_in_seconds": 60}  a usage limit that ends then
///     {"do": "refuse", "status": 429, "limit": "usage"}    the same, without a time
///     {"do": "refuse", "status": 429, "until": 1782000000} the same, for as long as it is earlier than that
///     {"do": "refuse", "status": 429, "retry_after": 20}   any other error; 401 is a wrong key
///
/// "wait" and "refuse" happen once for a bug, or as often as "times" says; with "until" always. In texts
/// {bug_id}, {session_id}, {queue_item_id}, {branch} and {worktree} stand for what the goal says.
struct Step {
    enum class Kind { shell, tool, say, complete, wait, refuse };

    Kind kind = Kind::say;
    std::string text{};  ///< the command, the tool's name or the message
    boost::json::object arguments{};
    std::chrono::seconds length{0};
    unsigned status = 0;
    std::int64_t resetsInSeconds = 0;  ///< 0: no usage limit
    bool isUsageLimit = false;         ///< without a time
    std::optional<Instant> until{};    ///< a usage limit that holds until then, for everybody
    std::int64_t retryAfter = 0;       ///< 0: not said
    std::int64_t times = 1;
};

/// What the model does for each bug. As JSON: {"default": [STEP, ...], "bugs": {"3f2a9c1d": [STEP, ...]}}, in
/// which each of the two may be left out: a bug that has no steps of its own is worked on, reported and done.
class Plan {
  public:
    Plan();

    /// Throws InvalidInput.
    static Plan fromJson(std::string_view text);

    const std::vector<Step>& stepsFor(const std::string& bugID) const;

  private:
    std::vector<Step> usual_;
    std::map<std::string, std::vector<Step>> ofBugs_;
};

/// The text, or the value, with the goal's words in the place of their names in braces, however deep they
/// stand.
std::string filledIn(std::string text, const codex::Goal& goal);
boost::json::value filledIn(const boost::json::value& value, const codex::Goal& goal);

}  // namespace quernlight::standin::model
