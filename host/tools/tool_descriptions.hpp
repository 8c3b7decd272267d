#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

namespace quernlight::host {

/// What a tool's argument may be.
enum class ArgumentType { text, wholeNumber, listOfTexts, texts };

struct ToolArgument {
    std::string_view name;
    ArgumentType type = ArgumentType::text;
    std::string_view help;
    std::vector<std::string_view> choices{};  ///< the only texts allowed; empty: any
    bool isRequired = false;
};

/// A tool as the agent is told of it, and as its calls are checked.
struct ToolDescription {
    std::string_view name;
    std::string_view help;
    bool isReadOnly = true;
    std::vector<ToolArgument> arguments{};
};

/// All of them, in the order in which they are listed.
const std::vector<ToolDescription>& toolDescriptions();

/// Null for a name that no tool has.
const ToolDescription* findTool(std::string_view name);

/// The list for `tools/list`, with a JSON schema of each tool's arguments.
boost::json::array describedTools();

/// What is wrong with a call's arguments, in a sentence for the agent; nothing when they fit.
std::optional<std::string> argumentTrouble(const ToolDescription& tool, const boost::json::object& given);

}  // namespace quernlight::host
