#include "tests/agents/model_log.hpp"

#include <algorithm>
#include <fstream>

#include <boost/json.hpp>

namespace quernlight::test {
namespace {

namespace json = boost::json;

std::string textOf(const json::object& line, std::string_view key) {
    const json::value* member = line.if_contains(key);
    return member && member->is_string() ? std::string(member->get_string()) : "";
}

ModelRecord recordFrom(const std::string& text) {
    const json::value parsed = json::parse(text);
    const json::object& line = parsed.as_object();
    const json::value* wait = line.if_contains("wait");
    return {.event = textOf(line, "event"),
            .thread = textOf(line, "thread"),
            .bugID = textOf(line, "bug"),
            .sessionID = textOf(line, "session"),
            .text = textOf(line, "text"),
            .step = textOf(line, "does"),
            .after = textOf(line, "after"),
            .wait = wait ? static_cast<long>(wait->to_number<std::int64_t>()) : 0,
            .at = parseInstant(textOf(line, "at")).value_or(Instant())};
}

}  // namespace

ModelLog::ModelLog(const std::filesystem::path& file) {
    std::ifstream lines(file);
    // The last line may be half written; the next reading has it.
    for (std::string line; std::getline(lines, line) && !lines.eof();) {
        records_.push_back(recordFrom(line));
    }
}

std::vector<ModelRecord> ModelLog::goalsOf(const std::string& sessionID) const {
    std::vector<ModelRecord> goals;
    for (const ModelRecord& record : records_) {
        if (record.event == "goal" && record.sessionID == sessionID) {
            goals.push_back(record);
        }
    }
    return goals;
}

bool ModelLog::hasGoal(const std::string& bugID) const {
    return std::any_of(records_.begin(), records_.end(), [&](const ModelRecord& record) {
        return record.event == "goal" && record.bugID == bugID;
    });
}

std::set<std::string> ModelLog::threadsOf(const std::string& bugID) const {
    std::set<std::string> threads;
    for (const ModelRecord& record : records_) {
        if (record.bugID == bugID) {
            threads.insert(record.thread);
        }
    }
    return threads;
}

int ModelLog::timesWaited(const std::string& bugID) const {
    return static_cast<int>(std::count_if(records_.begin(), records_.end(), [&](const ModelRecord& record) {
        return record.bugID == bugID && record.wait > 0;
    }));
}

bool ModelLog::hasCalled(const std::string& bugID, const std::string& tool) const {
    return std::any_of(records_.begin(), records_.end(), [&](const ModelRecord& record) {
        return record.bugID == bugID && record.step == "call " + tool;
    });
}

bool ModelLog::hasHeard(const std::string& bugID, const std::string& text) const {
    return std::any_of(records_.begin(), records_.end(), [&](const ModelRecord& record) {
        return record.bugID == bugID && record.after.find(text) != std::string::npos;
    });
}

std::vector<std::string> ModelLog::strayTexts() const {
    std::vector<std::string> texts;
    for (const ModelRecord& record : records_) {
        if (record.event == "user" || (record.event == "goal" && record.sessionID.empty())) {
            texts.push_back(record.text);
        }
    }
    return texts;
}

}  // namespace quernlight::test
