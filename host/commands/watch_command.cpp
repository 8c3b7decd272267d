#include <memory>

#include <unistd.h>
#include <CLI/CLI.hpp>

#include "host/commands/backend_call.hpp"
#include "host/commands/command_line.hpp"
#include "host/commands/service_call.hpp"
#include "host/live/live_view.hpp"
#include "host/process/dispatch_home.hpp"
#include "host/process/user_error.hpp"
#include "host/view/terminal_style.hpp"

namespace quernlight::host {
namespace {

Task<void> watch(LiveView::Uses uses) {
    LiveView view(co_await boost::asio::this_coro::executor, std::move(uses));
    co_await view.run();
}

int watchCommand(const BackendChoice& given) {
    const TerminalStyle style = terminalStyle(currentEnvironmentMap());
    const std::string device = terminalDevice(STDIN_FILENO);
    if (device.empty() || isatty(STDOUT_FILENO) == 0 || style == TerminalStyle::lines) {
        throw UserError(
            "There is no terminal to draw on: standard input and output must be one, and TERM not \"dumb\". "
            "For one look use: quernlight-dispatch status");
    }
    const auto service = serviceWithBackend(given);
    SystemClock clock;
    LiveView::Uses uses{.service = *service,
                        .clock = clock,
                        .home = locateDispatchHome(given.home),
                        .device = device,
                        .isColoured = style == TerminalStyle::colouredPicture};
    return statusOf(watch(std::move(uses)));
}

}  // namespace

void addWatchCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<BackendChoice>();
    CLI::App* app = program.add_subcommand("watch", "Watch what goes on, and take a hand in it by keys");
    addBackendOptions(*app, *options);
    app->callback([options, &chosen] { chosen = [options] { return watchCommand(*options); }; });
}

}  // namespace quernlight::host
