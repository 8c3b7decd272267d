#include "standin/model/event_stream.hpp"

#include <chrono>

namespace quernlight::standin::model {
namespace {

namespace json = boost::json;

std::string event(std::string_view type, json::object members) {
    members["type"] = type;
    return "event: " + std::string(type) + "\ndata: " + json::serialize(members) + "\n\n";
}

/// Agents add these up, so none of them may be missing.
json::object usage() {
    return {{"input_tokens", 10},
            {"input_tokens_details", {{"cached_tokens", 0}}},
            {"output_tokens", 5},
            {"output_tokens_details", {{"reasoning_tokens", 0}}},
            {"total_tokens", 15}};
}

std::int64_t secondsOf(Instant moment) {
    return std::chrono::floor<std::chrono::seconds>(moment.time_since_epoch()).count();
}

json::object errorOf(const Step& step, Instant now) {
    const auto seconds = secondsOf(now);
    const auto left = step.until ? secondsOf(*step.until) - seconds : step.resetsInSeconds;
    if (left > 0 || step.isUsageLimit) {
        json::object limit{{"type", "usage_limit_reached"}, {"message", "The usage limit has been reached"}};
        if (left > 0) {
            limit["plan_type"] = "plus";
            limit["resets_at"] = seconds + left;
            limit["resets_in_seconds"] = left;
        }
        return limit;
    }
    const bool key = step.status == 401;
    const std::string message = key ? "Incorrect API key provided" : "The model refuses to answer";
    return {{"type", "invalid_request_error"},
            {"code", key ? "invalid_api_key" : "refused"},
            {"message", step.text.empty() ? message : step.text}};
}

}  // namespace

Response eventStream(const json::object& item, const std::string& id) {
    const json::object placed{{"output_index", 0}, {"item", item}};
    return {.headers = {{"Content-Type", "text/event-stream"}, {"Cache-Control", "no-store"}},
            .body = event("response.created", {{"response", {{"id", id}}}}) +
                    event("response.output_item.added", placed) + event("response.output_item.done", placed) +
                    event("response.completed", {{"response", {{"id", id}, {"usage", usage()}}}})};
}

json::object messageItem(const std::string& text, const std::string& id) {
    const json::object piece{{"type", "output_text"}, {"text", text}};
    return {{"type", "message"}, {"role", "assistant"}, {"id", id}, {"content", json::array{piece}}};
}

json::object callItem(const OfferedTool& tool, const json::object& arguments, const std::string& callID) {
    json::object item{{"type", "function_call"},
                      {"id", "item-" + callID},
                      {"call_id", callID},
                      {"name", tool.name},
                      {"arguments", json::serialize(arguments)}};
    if (!tool.group.empty()) {
        item["namespace"] = tool.group;
    }
    return item;
}

json::object shellArguments(std::string_view tool, const std::string& command) {
    if (tool == "exec_command") {
        return {{"cmd", command}};
    }
    if (tool == "shell_command") {
        return {{"command", command}};
    }
    return {{"command", json::array{"sh", "-c", json::string(command)}}};
}

Response refusal(const Step& step, Instant now) {
    Response response = jsonResponse(step.status, json::object{{"error", errorOf(step, now)}});
    if (step.retryAfter > 0) {
        response.headers.emplace_back("Retry-After", std::to_string(step.retryAfter));
    }
    return response;
}

}  // namespace quernlight::standin::model
