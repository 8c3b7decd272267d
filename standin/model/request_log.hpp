#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "standin/model/player.hpp"

namespace quernlight::standin::model {

/// What the agents asked for, in a file of one JSON object a line, each with "event", "at" and "thread":
///
///     goal    a goal as the model is told it for the first time: "text", "bug", "session", "agent"
///     user    a message that a person typed: "text"
///     step    an answer: "does", "wait" in seconds, "bug", "session", "after" (what the last call came to)
///     other   a request that is none for an answer: "text" is its method and target
///
/// Texts are cut at 64 KiB, and after 64 MiB nothing is written any more. Used by one thread.
class RequestLog {
  public:
    /// Without a path nothing is written. Throws std::runtime_error when the file cannot be.
    explicit RequestLog(const std::filesystem::path& path);

    void add(const Conversation& conversation, const Turn& turn, Instant now);
    void addOther(const Request& request, Instant now);

  private:
    void addGoal(const Conversation& conversation, Instant now);
    void write(std::string_view event, Instant now, boost::json::object members);

    std::ofstream file_;
    std::uint64_t left_;
    std::map<std::string, std::set<std::string>> goals_;  // told so far, by conversation
    std::map<std::string, std::size_t> userTexts_;        // written so far, by conversation
};

}  // namespace quernlight::standin::model
