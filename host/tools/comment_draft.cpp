#include "host/tools/comment_draft.hpp"

#include <map>
#include <optional>
#include <utility>

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;
using Metadata = std::map<std::string, std::string>;

constexpr std::size_t mostOfAText = 80;

std::string shown(const std::string& text) {
    return "\"" + escapedLine(text, mostOfAText) + "\"";
}

std::string textOf(const json::object& arguments, std::string_view name) {
    const json::value* value = arguments.if_contains(name);
    return value && value->is_string() ? std::string(value->get_string()) : std::string();
}

Metadata metadataOf(const json::object& arguments) {
    Metadata metadata;
    const json::value* given = arguments.if_contains("metadata");
    if (given && given->is_object()) {
        for (const auto& [key, value] : given->get_object()) {
            metadata[std::string(key)] = std::string(value.get_string());
        }
    }
    return metadata;
}

/// What is wrong with the comment; nothing is.
using Trouble = std::optional<ToolResult>;

Trouble badArguments(std::string sentence) {
    return ToolResult{ToolOutcome::badArguments, std::move(sentence)};
}

Trouble refused(std::string sentence) {
    return ToolResult{ToolOutcome::refused, std::move(sentence)};
}

/// These three may stand among the arguments as well as in the metadata, where they end up.
Trouble moveIntoMetadata(const json::object& arguments, Metadata& metadata) {
    for (const char* name : {"status", "queue_item_id", "session_id"}) {
        const std::string given = textOf(arguments, name);
        std::string& member = metadata[name];
        if (!given.empty() && !member.empty() && lowercased(given) != lowercased(member)) {
            return badArguments("\"" + std::string(name) + "\" is given twice, once in the metadata, as " +
                                shown(given) + " and " + shown(member) + "; give it once.");
        }
        member = given.empty() ? member : given;
    }
    return std::nullopt;
}

Trouble settleStatus(Metadata& metadata) {
    std::string& status = metadata["status"];
    status = lowercased(trimmed(status));
    if (status == "in review") {
        status = "in_review";
    }
    if (status.empty()) {
        metadata.erase("status");
        return std::nullopt;
    }
    return status == "in_review" || status == "investigate"
               ? std::nullopt
               : badArguments(
                     "The status must be \"in_review\" when the work is in a pull request, "
                     "\"investigate\" when the user must answer a question, or absent when the "
                     "work goes on; it was " +
                     shown(status) + ".");
}

Trouble settleIdentity(Metadata& metadata, const CommentIdentity& identity) {
    std::string& item = metadata["queue_item_id"];
    if (!trimmed(item).empty() && parseUuid(trimmed(item)) != identity.queueItemID) {
        return refused("The queue_item_id " + shown(item) +
                       " is not that of this session's bug, which is \"" +
                       lowerCaseText(identity.queueItemID) + "\"; leave it out, it is filled in.");
    }
    std::string& session = metadata["session_id"];
    const auto given = parseUuid(trimmed(session));
    const bool isOurs = given == identity.sessionID || (given && identity.earlierSessions.contains(*given));
    if (!trimmed(session).empty() && !isOurs) {
        return refused("The session_id " + shown(session) +
                       " is of no session of this bug; this session is \"" +
                       lowerCaseText(identity.sessionID) + "\". Leave it out, it is filled in.");
    }
    item = lowerCaseText(identity.queueItemID);
    session = lowerCaseText(identity.sessionID);
    return std::nullopt;
}

Trouble readPullRequest(const json::object& arguments, std::optional<Url>& url) {
    const std::string text(trimmed(textOf(arguments, "pr_url")));
    url = text.empty() ? std::nullopt : Url::parse(text);
    const bool isWeb = url && (url->scheme() == "https" || url->scheme() == "http");
    return text.empty() || isWeb
               ? std::nullopt
               : badArguments("The pr_url " + shown(text) + " is no address; give it whole, with https://.");
}

std::vector<std::string> attachmentsOf(const json::object& arguments) {
    std::vector<std::string> paths;
    const json::value* given = arguments.if_contains("attachments");
    if (given && given->is_array()) {
        for (const json::value& path : given->get_array()) {
            paths.emplace_back(path.get_string());
        }
    }
    return paths;
}

}  // namespace

std::variant<CommentDraft, ToolResult> draftComment(const json::object& arguments,
                                                    const CommentIdentity& identity) {
    CommentDraft draft{.comment = {.body = textOf(arguments, "body"), .authorType = "agent"},
                       .attachments = attachmentsOf(arguments)};
    Metadata metadata = metadataOf(arguments);
    Trouble trouble;
    if (trimmed(draft.comment.body).empty()) {
        trouble = badArguments("The body is empty; say in it what was found and done.");
    }
    trouble = trouble ? trouble : moveIntoMetadata(arguments, metadata);
    trouble = trouble ? trouble : settleStatus(metadata);
    trouble = trouble ? trouble : settleIdentity(metadata, identity);
    trouble = trouble ? trouble : readPullRequest(arguments, draft.comment.prURL);
    if (trouble) {
        return std::move(*trouble);
    }
    draft.comment.metadata = std::move(metadata);
    return draft;
}

std::string fingerprint(const CommentDraft& draft) {
    json::array parts{json::string(encodedJSON(draft.comment))};
    for (const std::string& attachment : draft.attachments) {
        parts.emplace_back(validUtf8(attachment));
    }
    return json::serialize(parts);
}

}  // namespace quernlight::host
