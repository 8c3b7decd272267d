#include "host/notify/notifier.hpp"

#include <utility>

#include "host/notify/deliveries.hpp"
#include "host/process/caught_exception.hpp"
#include "host/process/time_limit.hpp"
#include "host/settings/backend_address.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::seconds timeoutAtTheEnd{2};
constexpr std::size_t mostOfAnswer = 1 << 20;

}  // namespace

Notifier::Notifier(const boost::asio::any_io_executor& executor, Uses uses,
                   const std::vector<BugQueueItem>& known, const EarlierNews& earlier)
    : uses_(std::move(uses)),
      choice_(known, earlier),
      command_(
          executor, "notify.command", [this](std::string line) { return deliverByCommand(std::move(line)); },
          uses_.events, uses_.clock),
      webhook_(
          executor, "notify.webhook", [this](std::string line) { return deliverByWebhook(std::move(line)); },
          uses_.events, uses_.clock),
      subscription_(uses_.events.subscribe([this](const DispatchEvent& event) { handle(event); })) {}

void Notifier::handle(const DispatchEvent& event) {
    if (const auto notification = choice_.notificationOf(event, uses_.clock.now())) {
        tell(*notification);
    }
}

void Notifier::tell(const Notification& notification) {
    const std::string line = jsonLineOf(notification, uses_.home);
    if (!uses_.settings.notifyCommand.empty()) {
        command_.add(line);
    }
    if (!uses_.settings.notifyWebhook.empty()) {
        webhook_.add(line);
    }
}

/// The setting may have been taken away while the notification waited.
Task<void> Notifier::deliverByCommand(std::string line) {
    if (!uses_.settings.notifyCommand.empty()) {
        co_await giveToCommand(uses_.settings.notifyCommand, uses_.environment, std::move(line));
    }
}

Task<void> Notifier::deliverByWebhook(std::string line) {
    if (uses_.settings.notifyWebhook.empty()) {
        co_return;
    }
    if (!http_) {
        http_ = std::make_unique<HttpSession>(HttpSession::Options{.maximumAnswerSize = mostOfAnswer});
    }
    Url webhook = parseWebhookAddress(uses_.settings.notifyWebhook);
    co_await postTo(std::move(webhook), std::move(line), *http_);
}

Task<void> Notifier::awaitDelivered() {
    co_await command_.awaitDelivered();
    co_await webhook_.awaitDelivered();
}

Task<void> Notifier::end(StopRequest& stop) {
    subscription_.reset();
    Task<void> delivering = withTimeLimit(uses_.clock, timeoutAtTheEnd, awaitDelivered());
    // That the time is over is all that can happen to it.
    co_await caughtException(stop.unlessRaised(StopLevel::kill, std::move(delivering)));
    co_await webhook_.end();
    co_await command_.end();
}

}  // namespace quernlight::host
