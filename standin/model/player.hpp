#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "quernlight/platform/instant.hpp"
#include "standin/model/plan.hpp"

namespace quernlight::standin::model {

/// What the model answers to one request.
struct Turn {
    Response response{};
    std::string step{};            ///< in words, for the log
    std::chrono::seconds wait{0};  ///< how long it waits before, because the plan says so
};

/// Plays a plan to each conversation by itself. Which step comes next is read from the conversation: the
/// calls made for the goal in force that have come back. Only what leaves no trace there is remembered: what
/// was said, waited and refused. Used by one thread.
class Player {
  public:
    Turn answer(const Plan& plan, const Conversation& conversation, Instant now);

  private:
    using Place = std::pair<std::string, std::size_t>;  // a bug, or one of its goals, and a step

    Turn play(const Step& step, const Conversation& conversation, std::size_t index, Instant now);
    Turn call(const Conversation& conversation, const OfferedTool& tool, const boost::json::object& arguments,
              std::size_t index);
    Turn say(const std::string& text, std::string step);
    Turn rest(const Conversation& conversation, const std::string& text);

    std::map<Place, std::int64_t> done_;
    std::map<std::string, int> rests_;  // answers that moved nothing, by conversation
    std::size_t answers_ = 0;
};

}  // namespace quernlight::standin::model
