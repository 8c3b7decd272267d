#pragma once

#include <map>
#include <memory>

#include <boost/asio/any_io_executor.hpp>

#include "host/agent/session_mailbox.hpp"
#include "quernlight/runner/initial_input_delivery.hpp"

namespace quernlight::host {

/// Tells the sessions that their agents' prompts are ready, so that they deliver their goals themselves. The
/// sessions' side is used on the executor given, the other by the runner on its own thread.
class ReadyPrompts final : public InitialInputDelivery {
  public:
    explicit ReadyPrompts(boost::asio::any_io_executor executor)
        : executor_(std::move(executor)), mailboxes_(std::make_shared<Mailboxes>()) {}

    /// From now on the session is told. Before startSession.
    void follow(const Uuid& sessionID, SessionMailbox::Continuation mailbox);

    void forget(const Uuid& sessionID) { mailboxes_->erase(sessionID); }

    void deliver(Uuid sessionID, std::string input) override;

  private:
    using Mailboxes = std::map<Uuid, SessionMailbox::Continuation>;

    const boost::asio::any_io_executor executor_;
    const std::shared_ptr<Mailboxes> mailboxes_;  // what is under way on the executor may outlive this
};

}  // namespace quernlight::host
