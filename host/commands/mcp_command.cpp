#include <memory>

#include <unistd.h>
#include <CLI/CLI.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/path_option.hpp"
#include "host/process/core_dumps.hpp"
#include "host/process/dispatch_home.hpp"
#include "host/process/event_loop.hpp"
#include "host/tools/tool_server.hpp"

namespace quernlight::host {
namespace {

struct McpOptions {
    std::optional<std::filesystem::path> home;
    std::string session;
    std::filesystem::path secretFile;
};

int serve(const McpOptions& given) {
    switchOffCoreDumps();
    boost::asio::io_context io;
    ToolCaller call = askingOwner(
        {.home = locateDispatchHome(given.home), .sessionID = given.session, .secretFile = given.secretFile});
    return runUnlessInterrupted(io, serveTools(STDIN_FILENO, STDOUT_FILENO, std::move(call))) ? 130 : 0;
}

}  // namespace

void addMcpCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<McpOptions>();
    CLI::App* mcp =
        program.add_subcommand("mcp", "The agent's tools, on standard input and output; agents start it");
    addHomeOption(*mcp, options->home);
    mcp->add_option("--session", options->session, "The session's id")->required();
    addPathOption(*mcp, "--secret-file", options->secretFile, "File that holds the session's secret")
        ->required();
    mcp->callback([options, &chosen] { chosen = [options] { return serve(*options); }; });
}

}  // namespace quernlight::host
