#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/asio/thread_pool.hpp>

#include "quernlight/runner/codex_runner.hpp"
#include "quernlight/runner/initial_input_delivery.hpp"

namespace quernlight {

class SessionRegistry;

/// Runs every session as a child of this process in a pseudo-terminal of its own. The host owns one for as
/// long as it lives. Terminals are read and exits are watched on one background thread, the reader queue.
/// Destroying the runner hangs up on sessions that still run (their children get SIGHUP) and finishes their
/// event streams without `exited`.
class LocalPTYCodexRunner final : public CodexRunner {
  public:
    /// How often it looks whether an initial input may be typed.
    static constexpr std::chrono::milliseconds readinessPollInterval{200};

    LocalPTYCodexRunner();

    /// Initial inputs are delivered so, and not typed by the runner; it outlives the runner.
    explicit LocalPTYCodexRunner(InitialInputDelivery& delivery);

    /// From now on a session's terminal is read only while fewer of its events than this wait in each of its
    /// streams, so that an agent that writes faster than they are read has to wait, as on any terminal. By
    /// default there is no bound. Before the first session.
    void readWhileFewerWait(std::size_t events) { mostWaiting_ = events; }

    LocalPTYCodexRunner(const LocalPTYCodexRunner&) = delete;
    LocalPTYCodexRunner& operator=(const LocalPTYCodexRunner&) = delete;
    ~LocalPTYCodexRunner() override;

    Task<StartSessionResponse> startSession(StartSessionRequest request) override;
    Task<void> sendInput(std::string data, Uuid sessionID) override;
    Task<void> sendKeys(std::string bytes, Uuid sessionID) override;
    Task<void> resize(Uuid sessionID, int columns, int rows) override;
    Task<void> terminate(Uuid sessionID, TerminationMode mode) override;
    Task<std::vector<RunnerSessionSnapshot>> activeSessions() override;
    EventStream<RunnerEvent> events(Uuid sessionID) override;

  private:
    explicit LocalPTYCodexRunner(InitialInputDelivery* delivery);

    InitialInputDelivery* const delivery_;  // null: the runner types them itself
    std::optional<std::size_t> mostWaiting_;
    std::shared_ptr<SessionRegistry> registry_;  // tasks and terminals on the reader queue hold it weakly
    boost::asio::thread_pool readerQueue_{1};    // after the registry, so that it ends before it
};

}  // namespace quernlight
