#pragma once

#include <string>
#include <string_view>
#include <variant>

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

namespace quernlight::host {

// Messages of JSON-RPC 2.0, as far as a server needs them.

inline constexpr int parseErrorCode = -32700;
inline constexpr int invalidRequestCode = -32600;
inline constexpr int methodNotFoundCode = -32601;

/// Something that is answered.
struct RpcRequest {
    boost::json::value id{};
    std::string method{};
    boost::json::object params{};
};

/// A notification, or the answer to a request that nobody has made: neither is answered.
struct RpcUnanswered {};

/// What is neither, and its answer.
struct RpcInvalid {
    boost::json::object answer{};
};

using RpcMessage = std::variant<RpcRequest, RpcUnanswered, RpcInvalid>;

RpcMessage readMessage(const boost::json::value& message);

boost::json::object rpcResult(boost::json::value id, boost::json::object result);

/// `id` is null when it is not known.
boost::json::object rpcError(boost::json::value id, int code, std::string_view message);

}  // namespace quernlight::host
