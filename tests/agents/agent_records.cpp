#include "tests/agents/agent_records.hpp"

#include <fstream>

#include <boost/algorithm/string/trim.hpp>
#include <boost/json.hpp>

#include "quernlight/storage/connection.hpp"

namespace quernlight::test {
namespace fs = std::filesystem;
namespace json = boost::json;
namespace {

std::string withoutCommand(const std::string& typed) {
    return boost::trim_copy(typed.starts_with("/goal") ? typed.substr(5) : typed);
}

/// The lines that are whole: an agent may be writing the last one.
std::vector<json::object> linesOf(const fs::path& file) {
    std::vector<json::object> lines;
    std::ifstream stream(file, std::ios::binary);
    for (std::string line; std::getline(stream, line) && !stream.eof();) {
        lines.push_back(json::parse(line).as_object());
    }
    return lines;
}

template <class Member>
const Member* memberOf(const json::object& object, std::string_view key) {
    const json::value* value = object.if_contains(key);
    if constexpr (std::is_same_v<Member, json::object>) {
        return value ? value->if_object() : nullptr;
    } else {
        return value ? value->if_string() : nullptr;
    }
}

/// The goal that a line of a conversation tells of.
const json::object* goalIn(const json::object& line) {
    const auto* payload = memberOf<json::object>(line, "payload");
    const auto* type = payload ? memberOf<json::string>(*payload, "type") : nullptr;
    return type && *type == "thread_goal_updated" ? memberOf<json::object>(*payload, "goal") : nullptr;
}

bool mayHoldGoals(const fs::path& file) {
    const std::string name = file.filename();
    return name.ends_with(".sqlite") && (name.starts_with("goals_") || name.starts_with("state_"));
}

}  // namespace

AgentRecords::AgentRecords(const fs::path& home) {
    readHistory(home / "history.jsonl");
    for (const auto& entry : fs::directory_iterator(home)) {
        if (mayHoldGoals(entry.path())) {
            readGoals(entry.path());
        }
    }
    std::error_code none;
    for (const auto& entry : fs::recursive_directory_iterator(home / "sessions", none)) {
        if (entry.path().extension() == ".jsonl") {
            readConversation(entry.path());
        }
    }
}

void AgentRecords::readHistory(const fs::path& file) {
    for (const json::object& line : linesOf(file)) {
        submitted_.insert(withoutCommand(std::string(line.at("text").as_string())));
    }
}

/// An agent tells of a goal whenever something of it changes; each goal has the second of its begin.
void AgentRecords::readConversation(const fs::path& file) {
    for (const json::object& line : linesOf(file)) {
        if (const json::object* goal = goalIn(line)) {
            const std::string text = boost::trim_copy(std::string(goal->at("objective").as_string()));
            given_[text].emplace(goal->at("threadId").as_string(),
                                 goal->at("createdAt").to_number<std::int64_t>());
        }
    }
}

void AgentRecords::readGoals(const fs::path& database) {
    Connection connection(database, Connection::Access::readOnly);
    if (connection.query("SELECT 1 FROM sqlite_master WHERE name = 'thread_goals'", {}).empty()) {
        return;
    }
    for (const auto& row : connection.query("SELECT objective FROM thread_goals", {})) {
        const std::string* objective = row.at("objective").asText();
        lastGoals_.push_back(objective ? *objective : "");
    }
}

std::size_t AgentRecords::timesSubmitted(const std::string& goal) const {
    return submitted_.count(goal);
}

std::size_t AgentRecords::timesGiven(const std::string& goal) const {
    const auto found = given_.find(goal);
    return found == given_.end() ? 0 : found->second.size();
}

std::set<std::string> AgentRecords::submittedTexts() const {
    return {submitted_.begin(), submitted_.end()};
}

std::set<std::string> AgentRecords::givenGoals() const {
    std::set<std::string> goals;
    for (const auto& [goal, begins] : given_) {
        goals.insert(goal);
    }
    return goals;
}

}  // namespace quernlight::test
