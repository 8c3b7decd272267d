#include "host/agent/ready_prompts.hpp"

#include <boost/asio/post.hpp>

namespace quernlight::host {

void ReadyPrompts::follow(const Uuid& sessionID, SessionMailbox::Continuation mailbox) {
    mailboxes_->insert_or_assign(sessionID, std::move(mailbox));
}

void ReadyPrompts::deliver(Uuid sessionID, std::string) {
    boost::asio::post(executor_, [mailboxes = mailboxes_, sessionID] {
        const auto mailbox = mailboxes->find(sessionID);
        if (mailbox != mailboxes->end()) {
            mailbox->second.deliver(PromptReady{});
        }
    });
}

}  // namespace quernlight::host
