#include "host/tools/json_rpc.hpp"

#include <utility>

namespace quernlight::host {
namespace {

namespace json = boost::json;

RpcInvalid invalid(json::value id, std::string_view sentence) {
    return {rpcError(std::move(id), invalidRequestCode, sentence)};
}

bool isID(const json::value& id) {
    return id.is_string() || id.is_number();
}

}  // namespace

RpcMessage readMessage(const json::value& message) {
    const json::object* members = message.if_object();
    if (!members) {
        return invalid(nullptr, "A message must be an object.");
    }
    const json::value* id = members->if_contains("id");
    const json::value knownID = id && isID(*id) ? *id : json::value(nullptr);
    const json::value* version = members->if_contains("jsonrpc");
    if (!version || *version != json::value("2.0")) {
        return invalid(knownID, "The member \"jsonrpc\" must be \"2.0\".");
    }
    const json::value* method = members->if_contains("method");
    if (!method && (members->contains("result") || members->contains("error"))) {
        return RpcUnanswered{};
    }
    if (!method || !method->is_string()) {
        return invalid(knownID, "The member \"method\" must be a text.");
    }
    if (!id) {
        return RpcUnanswered{};
    }
    if (!isID(*id)) {
        return invalid(nullptr, "The member \"id\" must be a text or a number.");
    }
    const json::value* params = members->if_contains("params");
    if (params && !params->is_object()) {
        return invalid(knownID, "The member \"params\" must be an object.");
    }
    return RpcRequest{knownID, std::string(method->get_string()),
                      params ? params->get_object() : json::object()};
}

json::object rpcResult(json::value id, json::object result) {
    return {{"jsonrpc", "2.0"}, {"id", std::move(id)}, {"result", std::move(result)}};
}

json::object rpcError(json::value id, int code, std::string_view message) {
    return {{"jsonrpc", "2.0"},
            {"id", std::move(id)},
            {"error", json::object{{"code", code}, {"message", message}}}};
}

}  // namespace quernlight::host
