#include "demo/stand_in_backend.hpp"

#include <csignal>
#include <system_error>

#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/process/user_error.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/spawn.hpp"

namespace quernlight::demo {
namespace asio = boost::asio;
namespace {

constexpr std::string_view announcement = "listening on ";

}  // namespace

StandInBackend::StandInBackend(const DemoDirectory& directory, const StandInPrograms& programs) {
    Pipe input = openPipe();
    Pipe output = openPipe();
    const SpawnRequest request{
        .executable = programs.backend,
        .arguments = {"standin-backend", "--port", "0", "--exit-with-stdin", "--token-file",
                      directory.tokenFile().string(), "--agent-token-file",
                      directory.agentTokenFile().string(), "--seed", directory.backendSeed().string(),
                      "--state", directory.backendState().string()},
        .environment = currentEnvironment(),
        .workingDirectory = directory.root(),
        .streams = DescriptorStreams{
            .input = input.reading.get(), .output = output.writing.get(), .error = STDERR_FILENO}};
    process_ = spawnProcess(request);
    input_ = std::move(input.writing);
    output_ = std::move(output.reading);
}

StandInBackend::~StandInBackend() {
    input_.close();
    ::kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
}

Task<void> StandInBackend::waitUntilItListens() {
    asio::posix::stream_descriptor output(co_await asio::this_coro::executor, output_.release());
    asio::steady_timer timeout(output.get_executor(), std::chrono::seconds(20));
    timeout.async_wait([&](boost::system::error_code error) {
        if (!error) {
            output.cancel();
        }
    });
    std::string line;
    boost::system::error_code error;
    co_await asio::async_read_until(output, asio::dynamic_buffer(line, 4096), '\n',
                                    asio::redirect_error(asio::use_awaitable, error));
    const auto url = line.starts_with(announcement)
                         ? Url::parse(line.substr(announcement.size(), line.find('\n') - announcement.size()))
                         : std::nullopt;
    if (error || !url) {
        throw host::UserError("The stand-in backend did not start; its own words, if any, stand above.");
    }
    url_ = *url;
}

}  // namespace quernlight::demo
