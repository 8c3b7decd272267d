#include "standin/model/conversation.hpp"

#include <boost/algorithm/string/replace.hpp>
#include <boost/algorithm/string/trim.hpp>

#include "standin/backend/json_text.hpp"

namespace quernlight::standin::model {
namespace {

namespace json = boost::json;

/// The text member of that name; empty when it is absent or something else.
std::string textOf(const json::value& value, std::string_view key) {
    const json::object* object = value.if_object();
    const json::value* member = object ? object->if_contains(key) : nullptr;
    return member && member->is_string() ? std::string(member->get_string()) : std::string();
}

const json::array& arrayOf(const json::value& value, std::string_view key) {
    static const json::array none;
    const json::object* object = value.if_object();
    const json::value* member = object ? object->if_contains(key) : nullptr;
    return member && member->is_array() ? member->get_array() : none;
}

/// The texts of a message's or an output's pieces, or the one text that stands in their place.
std::string wholeText(const json::value& item, std::string_view key) {
    std::string text = textOf(item, key);
    for (const json::value& piece : arrayOf(item, key)) {
        text += textOf(piece, "text");
    }
    return text;
}

/// What stands between the two marks; nothing when they do not.
std::optional<std::string> between(std::string_view text, std::string_view begin, std::string_view end) {
    const std::size_t first = text.find(begin);
    const std::size_t last = first == text.npos ? text.npos : text.find(end, first + begin.size());
    if (last == text.npos) {
        return std::nullopt;
    }
    return std::string(text.substr(first + begin.size(), last - first - begin.size()));
}

std::string withoutEntities(std::string text) {
    boost::replace_all(text, "&lt;", "<");
    boost::replace_all(text, "&gt;", ">");
    boost::replace_all(text, "&amp;", "&");
    return text;
}

/// A goal as a user's message tells it, in the agent's own context or typed as it is.
std::optional<std::string> objectiveIn(const std::string& message) {
    if (auto told = between(message, "<objective>\n", "\n</objective>")) {
        return withoutEntities(std::move(*told));
    }
    return codex::isGoalCommand(message) ? std::optional(message.substr(5)) : std::nullopt;
}

/// Context is what the agent adds by itself: an element, or the instructions of a folder.
bool isContext(std::string_view message) {
    return message.starts_with("<") || message.starts_with("# AGENTS.md");
}

void readMessage(Conversation& conversation, const json::value& item) {
    if (textOf(item, "role") != "user") {
        return;
    }
    std::string text = wholeText(item, "content");
    if (auto objective = objectiveIn(text)) {
        conversation.objective = boost::trim_copy(*objective);
    }
    if (!isContext(text)) {
        conversation.userTexts.push_back(std::move(text));
    }
}

void readItem(Conversation& conversation, const json::value& item) {
    const std::string type = textOf(item, "type");
    if (type == "message" || type.empty()) {
        readMessage(conversation, item);
    } else if (textOf(item, "name") == "goal_objective") {
        conversation.objective = boost::trim_copy(wholeText(item, "output"));
    } else if (type == "function_call_output") {
        conversation.outputs.push_back({textOf(item, "call_id"), wholeText(item, "output")});
    }
}

void readTool(std::vector<OfferedTool>& tools, const json::value& tool) {
    const std::string name = textOf(tool, "name");
    if (textOf(tool, "type") != "namespace") {
        tools.push_back({.name = name.empty() ? textOf(tool, "type") : name});
    }
    for (const json::value& grouped : arrayOf(tool, "tools")) {
        tools.push_back({.name = textOf(grouped, "name"), .group = name});
    }
}

std::string threadOf(const Request& request, const json::value& body) {
    for (const std::string_view name : {"thread-id", "session-id", "conversation_id", "session_id"}) {
        if (const auto value = request.header(name)) {
            return std::string(*value);
        }
    }
    return textOf(body, "prompt_cache_key");
}

}  // namespace

std::optional<OfferedTool> Conversation::toolNamed(std::string_view name) const {
    for (const OfferedTool& tool : tools) {
        if (tool.name == name || tool.name.ends_with("__" + std::string(name))) {
            return tool;
        }
    }
    return std::nullopt;
}

Conversation readConversation(const Request& request) {
    const json::value body = parseJson(request.body, "The body");
    Conversation conversation;
    conversation.thread = threadOf(request, body);
    conversation.agent = request.header("user-agent").value_or("");
    for (const json::value& item : arrayOf(body, "input")) {
        readItem(conversation, item);
    }
    for (const json::value& tool : arrayOf(body, "tools")) {
        readTool(conversation.tools, tool);
    }
    conversation.goal = codex::parseGoal("/goal\n" + conversation.objective + "\n");
    return conversation;
}

}  // namespace quernlight::standin::model
