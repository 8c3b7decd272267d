#include "host/tools/tool_descriptions.hpp"

#include <algorithm>

#include <boost/json/serialize.hpp>

#include "quernlight/platform/control_characters.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

constexpr std::string_view bugHelp = "The bug's id, long or short; without it the bug of this session.";

/// Statuses that an agent may give its bug, and look for.
const std::vector<std::string_view> statuses{"open", "investigate", "in_review"};

json::object schemaOf(const ToolArgument& argument) {
    json::object schema;
    switch (argument.type) {
        case ArgumentType::text:
            schema["type"] = "string";
            break;
        case ArgumentType::wholeNumber:
            schema = {{"type", "integer"}, {"minimum", 1}, {"maximum", 200}};
            break;
        case ArgumentType::listOfTexts:
            schema = {{"type", "array"}, {"items", json::object{{"type", "string"}}}};
            break;
        case ArgumentType::texts:
            schema = {{"type", "object"}, {"additionalProperties", json::object{{"type", "string"}}}};
            break;
    }
    schema["description"] = argument.help;
    if (!argument.choices.empty()) {
        schema["enum"] = json::array(argument.choices.begin(), argument.choices.end());
    }
    return schema;
}

json::object describe(const ToolDescription& tool) {
    json::object properties;
    json::array required;
    for (const ToolArgument& argument : tool.arguments) {
        properties[argument.name] = schemaOf(argument);
        if (argument.isRequired) {
            required.emplace_back(argument.name);
        }
    }
    json::object schema{
        {"type", "object"}, {"properties", std::move(properties)}, {"additionalProperties", false}};
    if (!required.empty()) {
        schema["required"] = std::move(required);
    }
    json::object hints{
        {"readOnlyHint", tool.isReadOnly}, {"destructiveHint", false}, {"openWorldHint", false}};
    if (!tool.isReadOnly) {
        hints["idempotentHint"] = true;
    }
    return {{"name", tool.name},
            {"description", tool.help},
            {"inputSchema", std::move(schema)},
            {"annotations", std::move(hints)}};
}

std::string listed(const std::vector<std::string_view>& words, std::string_view last) {
    std::string text;
    for (std::size_t index = 0; index < words.size(); ++index) {
        const std::string_view before = index == 0 ? "" : index + 1 == words.size() ? last : ", ";
        text.append(before).append("\"").append(words[index]).append("\"");
    }
    return text;
}

bool areTexts(const json::array& values) {
    return std::all_of(values.begin(), values.end(),
                       [](const json::value& value) { return value.is_string(); });
}

bool areTexts(const json::object& values) {
    return std::all_of(values.begin(), values.end(),
                       [](const json::key_value_pair& entry) { return entry.value().is_string(); });
}

/// What a value must be, for the sentence; nothing when it is that.
std::string_view expectation(const ToolArgument& argument, const json::value& value) {
    switch (argument.type) {
        case ArgumentType::text:
            return value.is_string() ? "" : "a text";
        case ArgumentType::wholeNumber:
            return value.is_int64() && value.get_int64() >= 1 && value.get_int64() <= 200
                       ? ""
                       : "a whole number from 1 to 200";
        case ArgumentType::listOfTexts:
            return value.is_array() && areTexts(value.get_array()) ? "" : "a list of texts";
        case ArgumentType::texts:
            return value.is_object() && areTexts(value.get_object()) ? ""
                                                                     : "an object whose values are texts";
    }
    return "";
}

std::optional<std::string> troubleWith(const ToolArgument& argument, const json::value& value) {
    const std::string name = "The argument \"" + std::string(argument.name) + "\" must be ";
    const std::string_view expected = expectation(argument, value);
    if (!expected.empty()) {
        return name + std::string(expected) + ".";
    }
    const auto& choices = argument.choices;
    const bool isChoice = choices.empty() || std::find(choices.begin(), choices.end(),
                                                       std::string_view(value.get_string())) != choices.end();
    return isChoice ? std::nullopt : std::optional(name + listed(choices, " or ") + ".");
}

const ToolArgument* findArgument(const ToolDescription& tool, std::string_view name) {
    const auto found = std::find_if(tool.arguments.begin(), tool.arguments.end(),
                                    [name](const ToolArgument& argument) { return argument.name == name; });
    return found == tool.arguments.end() ? nullptr : &*found;
}

std::string unknownArgument(const ToolDescription& tool, std::string_view name) {
    std::vector<std::string_view> known;
    for (const ToolArgument& argument : tool.arguments) {
        known.push_back(argument.name);
    }
    constexpr std::size_t mostOfAName = 60;
    return std::string(tool.name) + " has no argument \"" + escapedLine(name, mostOfAName) + "\"; it takes " +
           listed(known, " and ") + ".";
}

}  // namespace

const std::vector<ToolDescription>& toolDescriptions() {
    static const std::vector<ToolDescription> all{
        {.name = "get_bug",
         .help = "Read one bug of this session's app: description, status, pr_url, metadata, attachments, "
                 "log_url and comments.",
         .arguments = {{.name = "bug_id", .help = bugHelp}}},
        {.name = "list_comments",
         .help = "Read the comments of one bug of this session's app, in the backend's order.",
         .arguments = {{.name = "bug_id", .help = bugHelp}}},
        {.name = "list_bugs",
         .help = "List the bugs of this session's app, newest first.",
         .arguments = {{.name = "status", .help = "Only those with this status.", .choices = statuses},
                       {.name = "limit",
                        .type = ArgumentType::wholeNumber,
                        .help = "At most so many; 50 when absent."}}},
        {.name = "update_bug_status",
         .help = "Set the status of this session's bug.",
         .isReadOnly = false,
         .arguments =
             {{.name = "bug_id", .help = bugHelp},
              {.name = "status", .help = "The new status.", .choices = statuses, .isRequired = true}}},
        {.name = "create_comment",
         .help = "Post a comment on this session's bug. With a status it is the report that ends the "
                 "session: nothing done after it is kept.",
         .isReadOnly = false,
         .arguments = {{.name = "bug_id", .help = bugHelp},
                       {.name = "body", .help = "What the comment says, in Markdown.", .isRequired = true},
                       {.name = "status",
                        .help = "Only in the last comment: \"in_review\" when the work is in a pull request, "
                                "\"investigate\" when the user must answer a question."},
                       {.name = "pr_url", .help = "The address of the pull request."},
                       {.name = "metadata",
                        .type = ArgumentType::texts,
                        .help = "Further members, all texts. queue_item_id and session_id are filled in."},
                       {.name = "attachments",
                        .type = ArgumentType::listOfTexts,
                        .help =
                            "Paths of files in the worktree, absolute or relative to it: screenshots, logs, "
                            "recordings; together at most 64 MiB."},
                       {.name = "queue_item_id", .help = "Filled in when absent."},
                       {.name = "session_id", .help = "Filled in when absent."},
                       {.name = "author_type", .help = "Always \"agent\", whatever is given."}}},
    };
    return all;
}

const ToolDescription* findTool(std::string_view name) {
    const auto& all = toolDescriptions();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [name](const ToolDescription& tool) { return tool.name == name; });
    return found == all.end() ? nullptr : &*found;
}

json::array describedTools() {
    json::array tools;
    for (const ToolDescription& tool : toolDescriptions()) {
        tools.push_back(describe(tool));
    }
    return tools;
}

std::optional<std::string> argumentTrouble(const ToolDescription& tool, const json::object& given) {
    for (const auto& entry : given) {
        const ToolArgument* argument = findArgument(tool, entry.key());
        if (!argument) {
            return unknownArgument(tool, entry.key());
        }
        if (auto trouble = entry.value().is_null() ? std::nullopt : troubleWith(*argument, entry.value())) {
            return trouble;
        }
    }
    for (const ToolArgument& argument : tool.arguments) {
        const json::value* value = given.if_contains(argument.name);
        if (argument.isRequired && (!value || value->is_null())) {
            return std::string(tool.name) + " needs the argument \"" + std::string(argument.name) + "\".";
        }
    }
    return std::nullopt;
}

}  // namespace quernlight::host
