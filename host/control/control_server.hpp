#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>

#include <boost/asio/any_io_executor.hpp>

#include "host/control/control_listener.hpp"
#include "host/control/control_router.hpp"
#include "host/process/clock.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// What one owner takes on its socket at most.
struct ControlLimits {
    std::size_t largestBody = std::size_t{4} << 20U;  ///< of a request, in bytes; a larger one is 413
    std::size_t connections = 400;                    ///< at the same time; then the idlest is closed
    std::size_t connectionsOfOne = 256;               ///< of one who asks, the same
    std::size_t strangers = 64;       ///< connections on a listener that have not brought its token, the same
    double requestsPerSecond = 2000;  ///< of one who asks; beyond it is 429
    int burst = 2000;
    std::chrono::seconds idleTimeout{30};     ///< of a connection on which nothing comes
    std::size_t channels = 64;                ///< at the same time, besides the connections; then it is 503
    std::size_t channelsOfOne = 48;           ///< of one who asks, the same
    std::chrono::seconds channelSilence{60};  ///< of a channel whose other side does not even answer pings
};

/// What was answered since the start.
struct ControlCounts {
    std::array<std::uint64_t, 6> answers{};  ///< by the status's first digit
};

/// Serves HTTP/1.1 on the control socket of a home, for processes of the same user only, and on a listener
/// where there is one, on the owner's event loop. Nobody who asks too much, people or one session, takes
/// anything from the others, nor does whoever connects to the listener without its token. A request is
/// answered also when whoever sent it has gone meanwhile. One whose answer has `takeOver` goes on as a
/// channel, if it asked for a WebSocket. `end` is awaited before it goes.
class ControlServer {
  public:
    /// Listens, and serves, from now on; router, clock and counts outlive it. Throws UserError (see
    /// ControlSocket).
    ControlServer(boost::asio::any_io_executor executor, const std::filesystem::path& home,
                  const ControlRouter& router, Clock& clock, ControlLimits limits = {},
                  ControlCounts* counts = nullptr);
    ~ControlServer();

    /// Serves on the listener, too, whoever its gate lets in, as people. It outlives this.
    void listenOn(ControlListener& listener);

    /// Cancels what is under way, tells channels that the owner goes, and returns once all of it has ended;
    /// the socket's file goes.
    Task<void> end();

  private:
    class Service;

    std::unique_ptr<Service> service_;
};

}  // namespace quernlight::host
