#include "standin/model/request_log.hpp"

#include <stdexcept>

namespace quernlight::standin::model {
namespace {

namespace json = boost::json;

constexpr std::size_t longestText = 64 * 1024;
constexpr std::size_t longestOutput = 500;
constexpr std::uint64_t largestFile = 64 * 1024 * 1024;

}  // namespace

RequestLog::RequestLog(const std::filesystem::path& path) : left_(path.empty() ? 0 : largestFile) {
    if (path.empty()) {
        return;
    }
    file_.open(path, std::ios::binary | std::ios::app);
    if (!file_) {
        throw std::runtime_error("The log " + path.string() + " cannot be written.");
    }
}

void RequestLog::add(const Conversation& conversation, const Turn& turn, Instant now) {
    addGoal(conversation, now);
    std::size_t& written = userTexts_[conversation.thread];
    for (; written < conversation.userTexts.size(); ++written) {
        write("user", now,
              {{"thread", conversation.thread},
               {"text", conversation.userTexts[written].substr(0, longestText)}});
    }
    const std::string after = conversation.outputs.empty() ? "" : conversation.outputs.back().text;
    write("step", now,
          {{"thread", conversation.thread},
           {"bug", conversation.bugID()},
           {"session", conversation.sessionID()},
           {"does", turn.step},
           {"wait", turn.wait.count()},
           {"after", after.substr(0, longestOutput)}});
}

void RequestLog::addGoal(const Conversation& conversation, Instant now) {
    const bool isNew =
        !conversation.objective.empty() && goals_[conversation.thread].insert(conversation.objective).second;
    if (isNew) {
        write("goal", now,
              {{"thread", conversation.thread},
               {"agent", conversation.agent},
               {"bug", conversation.bugID()},
               {"session", conversation.sessionID()},
               {"text", conversation.objective.substr(0, longestText)}});
    }
}

void RequestLog::addOther(const Request& request, Instant now) {
    write("other", now, {{"thread", ""}, {"text", (request.method + " " + request.target).substr(0, 1000)}});
}

void RequestLog::write(std::string_view event, Instant now, json::object members) {
    members["event"] = event;
    members["at"] = formatInstant(now);
    const std::string line = json::serialize(members) + "\n";
    if (line.size() > left_) {
        left_ = 0;
        return;
    }
    left_ -= line.size();
    file_ << line << std::flush;
}

}  // namespace quernlight::standin::model
