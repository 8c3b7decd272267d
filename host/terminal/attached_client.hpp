#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "host/agent/agent_terminal.hpp"
#include "host/control/control_channel.hpp"
#include "host/terminal/stream_flow.hpp"
#include "host/terminal/terminal_messages.hpp"
#include "quernlight/platform/async_signal.hpp"

namespace quernlight::host {

/// One client that is attached to an agent's terminal, on the owner's side: sends it pictures and output as
/// its StreamFlow decides, and takes its keys and its size. Neither a client that does not read nor an agent
/// that does not holds up anybody else.
class AttachedClient final : private AgentTerminal::Listener {
  public:
    static constexpr std::size_t mostKeys = std::size_t{1}
                                            << 20U;  ///< that wait; beyond it they are left out

    struct Session {
        std::string bug;
        std::int64_t attempt;
        std::shared_ptr<AgentTerminal> terminal;
        /// How the session has ended, asked once the agent has.
        std::function<Task<std::string>()> endSentence;
    };

    /// The clock outlives it.
    AttachedClient(Session session, ControlChannel& channel, Clock& clock);
    AttachedClient(const AttachedClient&) = delete;
    AttachedClient& operator=(const AttachedClient&) = delete;
    ~AttachedClient() override;

    /// Until the client leaves, or the session has ended and the client was told.
    Task<void> run();

  private:
    void wrote(std::uint64_t first, std::string_view bytes) override;
    void changed() override { news_.notify(); }

    Task<void> receive();
    void take(ClientMessage message);
    Task<void> send();
    Task<void> sendWhatThereIs();
    Task<void> sendPicture();
    Task<void> sendSize();
    Task<void> sendEnd();
    Task<void> sendMessage(TerminalMessage message);
    Task<void> typeKeys();
    bool isAllSent() const;
    SizeChanged sizeNow() const;

    const Session session_;
    AgentTerminal& terminal_;
    ControlChannel& channel_;
    Clock& clock_;
    const SizeChoice::Client client_;
    StreamFlow flow_;
    const AgentTerminal::Subscription listening_;
    SizeChanged toldSize_;
    std::string keys_;
    AsyncSignal news_, keysToType_;
    bool isOpen_ = true;
};

}  // namespace quernlight::host
