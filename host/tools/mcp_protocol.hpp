#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include "host/tools/json_rpc.hpp"

namespace quernlight::host {

/// A call of a tool that a client asks for.
struct WantedCall {
    boost::json::value id{};
    std::string tool{};
    boost::json::object arguments{};
    bool isHandshakeless = false;  ///< by a version that begins without one
};

/// What a tool says to the agent.
struct ToolAnswer {
    std::string text{};
    bool isError = false;
};

/// What is to be done about one line of a client's.
struct McpReaction {
    std::vector<boost::json::object> answers{};
    std::vector<WantedCall> calls{};  ///< to be made, then answered by `answerTo`
    bool isBatch = false;             ///< all answers belong into one array
};

/// The Model Context Protocol of one client, without its streams: what is answered to which line. It speaks
/// the versions 2024-11-05, 2025-03-26, 2025-06-18 and 2025-11-25, which begin with "initialize", and
/// 2026-07-28, in which every request names its version; a client may mix the two.
class McpProtocol {
  public:
    /// A line, without its end.
    McpReaction take(std::string_view line);

    /// For a line that is too long to be read.
    static McpReaction refuseLongLine(std::size_t limit);

    static boost::json::object answerTo(const WantedCall& call, ToolAnswer answer);

  private:
    void takeOne(const boost::json::value& message, McpReaction& reaction);
    void takeBatch(const boost::json::array& messages, McpReaction& reaction);
    void takeRequest(RpcRequest request, McpReaction& reaction);
    boost::json::object initialize(const RpcRequest& request);

    std::optional<std::string> version_;  // agreed upon by a handshake
};

}  // namespace quernlight::host
