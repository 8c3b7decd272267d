#include "host/tools/mcp_protocol.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>

#include "host/tools/tool_descriptions.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

constexpr std::string_view handshakeless = "2026-07-28";
/// The versions with a handshake, the newest first.
constexpr std::array<std::string_view, 4> handshaking{"2025-11-25", "2025-06-18", "2025-03-26", "2024-11-05"};
constexpr std::string_view lastWithBatches = "2025-03-26";
constexpr int unsupportedVersionCode = -32022;

constexpr const char* instructions =
    "Tools for the one bug that this session works on: read it and its comments, set its status, and report "
    "with create_comment. A comment with a status ends the session.";

json::object serverInfo() {
    return {{"name", "quernlight"}, {"version", "0.1.0"}};
}

json::object capabilities() {
    return {{"tools", json::object()}};
}

json::object toolList() {
    return {{"tools", describedTools()}};
}

/// What the later versions want in every result.
json::object completed(json::object result) {
    result["resultType"] = "complete";
    result["_meta"] = json::object{{"io.modelcontextprotocol/serverInfo", serverInfo()}};
    return result;
}

/// The same for what never changes while the server runs.
json::object cacheable(json::object result) {
    constexpr int day = 24 * 60 * 60 * 1000;
    result["ttlMs"] = day;
    result["cacheScope"] = "public";
    return completed(std::move(result));
}

json::array supportedVersions() {
    json::array versions{json::string(handshakeless)};
    for (const std::string_view version : handshaking) {
        versions.push_back(json::string(version));
    }
    return versions;
}

json::object discovery() {
    return cacheable({{"supportedVersions", supportedVersions()},
                      {"capabilities", capabilities()},
                      {"instructions", instructions}});
}

/// The version that a request names for itself; nothing for one that relies on a handshake.
const json::value* namedVersion(const RpcRequest& request) {
    const json::value* meta = request.params.if_contains("_meta");
    return meta && meta->is_object()
               ? meta->get_object().if_contains("io.modelcontextprotocol/protocolVersion")
               : nullptr;
}

json::object unsupportedVersion(const RpcRequest& request, const json::value& version) {
    json::object answer = rpcError(request.id, unsupportedVersionCode, "Unsupported protocol version");
    answer["error"].get_object()["data"] =
        json::object{{"supported", supportedVersions()}, {"requested", version}};
    return answer;
}

json::object unknownMethod(const RpcRequest& request) {
    return rpcError(request.id, methodNotFoundCode, "There is no method \"" + request.method + "\".");
}

/// What a request that names its version gets at once; nothing for a call.
json::object answerWithoutHandshake(const RpcRequest& request) {
    if (request.method == "server/discover") {
        return rpcResult(request.id, discovery());
    }
    if (request.method == "tools/list") {
        return rpcResult(request.id, cacheable(toolList()));
    }
    return unknownMethod(request);
}

ToolAnswer callTrouble(const std::string& sentence) {
    return {.text = sentence, .isError = true};
}

}  // namespace

McpReaction McpProtocol::take(std::string_view line) {
    McpReaction reaction;
    boost::system::error_code error;
    const json::value message = json::parse({line.data(), line.size()}, error);
    if (error) {
        reaction.answers.push_back(
            rpcError(nullptr, parseErrorCode, "The line is not JSON: " + error.message()));
    } else if (const json::array* messages = message.if_array()) {
        takeBatch(*messages, reaction);
    } else {
        takeOne(message, reaction);
    }
    return reaction;
}

McpReaction McpProtocol::refuseLongLine(std::size_t limit) {
    McpReaction reaction;
    reaction.answers.push_back(
        rpcError(nullptr, parseErrorCode, "The line is longer than " + std::to_string(limit) + " bytes."));
    return reaction;
}

/// Only the first versions have batches. Before a handshake the version is not known.
void McpProtocol::takeBatch(const json::array& messages, McpReaction& reaction) {
    if (messages.empty() || (version_ && *version_ > lastWithBatches)) {
        reaction.answers.push_back(
            rpcError(nullptr, invalidRequestCode,
                     messages.empty() ? "The batch is empty." : "This version has no batches."));
        return;
    }
    reaction.isBatch = true;
    for (const json::value& message : messages) {
        takeOne(message, reaction);
    }
}

void McpProtocol::takeOne(const json::value& message, McpReaction& reaction) {
    RpcMessage read = readMessage(message);
    if (auto* request = std::get_if<RpcRequest>(&read)) {
        takeRequest(std::move(*request), reaction);
    } else if (auto* invalid = std::get_if<RpcInvalid>(&read)) {
        reaction.answers.push_back(std::move(invalid->answer));
    }
}

void McpProtocol::takeRequest(RpcRequest request, McpReaction& reaction) {
    const json::value* named = namedVersion(request);
    if (named && *named != json::value(json::string(handshakeless))) {
        reaction.answers.push_back(unsupportedVersion(request, *named));
    } else if (request.method == "tools/call") {
        WantedCall call{.id = request.id, .isHandshakeless = named != nullptr};
        const json::value* name = request.params.if_contains("name");
        const json::value* arguments = request.params.if_contains("arguments");
        const bool hasArguments = arguments && !arguments->is_null();
        if (!name || !name->is_string()) {
            reaction.answers.push_back(
                answerTo(call, callTrouble("The call names no tool; the member \"name\" must be a text.")));
        } else if (hasArguments && !arguments->is_object()) {
            reaction.answers.push_back(answerTo(call, callTrouble("The arguments must be an object.")));
        } else {
            call.tool = std::string(name->get_string());
            call.arguments = hasArguments ? arguments->get_object() : json::object();
            reaction.calls.push_back(std::move(call));
        }
    } else if (named || request.method == "server/discover") {
        reaction.answers.push_back(answerWithoutHandshake(request));
    } else if (request.method == "initialize") {
        reaction.answers.push_back(reaction.isBatch ? rpcError(request.id, invalidRequestCode,
                                                               "\"initialize\" must stand by itself.")
                                                    : initialize(request));
    } else if (request.method == "ping") {
        reaction.answers.push_back(rpcResult(request.id, {}));
    } else if (request.method == "tools/list") {
        reaction.answers.push_back(rpcResult(request.id, toolList()));
    } else {
        reaction.answers.push_back(unknownMethod(request));
    }
}

/// The client's version when it is known, else the newest, which the client may not want.
json::object McpProtocol::initialize(const RpcRequest& request) {
    const json::value* asked = request.params.if_contains("protocolVersion");
    const std::string wanted = asked && asked->is_string() ? std::string(asked->get_string()) : "";
    const bool isKnown = std::find(handshaking.begin(), handshaking.end(), wanted) != handshaking.end();
    version_ = isKnown ? wanted : std::string(handshaking.front());
    return rpcResult(request.id, {{"protocolVersion", *version_},
                                  {"capabilities", capabilities()},
                                  {"serverInfo", serverInfo()},
                                  {"instructions", instructions}});
}

json::object McpProtocol::answerTo(const WantedCall& call, ToolAnswer answer) {
    json::object result{
        {"content", json::array{json::object{{"type", "text"}, {"text", std::move(answer.text)}}}},
        {"isError", answer.isError}};
    return rpcResult(call.id, call.isHandshakeless ? completed(std::move(result)) : std::move(result));
}

}  // namespace quernlight::host
