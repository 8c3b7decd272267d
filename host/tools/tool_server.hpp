#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include <boost/json/object.hpp>

#include "host/tools/mcp_protocol.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// Makes a tool's call somewhere else. Must not throw but when it is cancelled.
using ToolCaller = std::function<Task<ToolAnswer>(std::string tool, boost::json::object arguments)>;

/// Whose tools a tool server offers.
struct ToolServerSession {
    std::filesystem::path home{};
    std::string sessionID{};
    std::filesystem::path secretFile{};
};

/// Has the owner of the home make the calls, with the session's secret.
ToolCaller askingOwner(ToolServerSession session);

inline constexpr std::size_t longestToolLine = std::size_t{4} << 20U;

/// A tool server: reads the client's lines from one descriptor and writes its own, and nothing else, to the
/// other. Calls are made beside each other, sixteen at most. Returns when the input has ended, after a moment
/// for the calls that are under way, or when nobody reads the output any more.
Task<void> serveTools(int input, int output, ToolCaller call);

}  // namespace quernlight::host
