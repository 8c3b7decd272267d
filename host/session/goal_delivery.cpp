#include "host/session/goal_delivery.hpp"

#include <chrono>
#include <stdexcept>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/events/item_history.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::seconds pauseBeforeStoring{1};

Task<std::optional<DatabaseError>> troubleToTell(DispatchStore store, ItemEvent event) {
    try {
        co_await appendEvent(store.items, std::move(event));
    } catch (const DatabaseError& error) {
        co_return error;
    }
    co_return std::nullopt;
}

}  // namespace

GoalDelivery::GoalDelivery(boost::asio::any_io_executor executor, DispatchStore store, Clock& clock)
    : executor_(std::move(executor)),
      store_(std::move(store)),
      clock_(clock),
      followers_(std::make_shared<Followers>()) {}

void GoalDelivery::follow(const Uuid& sessionID, Followed session) {
    followers_->emplace(sessionID, std::move(session));
}

void GoalDelivery::forget(const Uuid& sessionID) {
    followers_->erase(sessionID);
}

void GoalDelivery::waiting(Uuid) {}  // the session's own stage says so

Task<void> GoalDelivery::aboutToType(Uuid sessionID) {
    co_await boost::asio::co_spawn(executor_, storeTyping(followers_, store_, clock_, sessionID),
                                   boost::asio::use_awaitable);
}

void GoalDelivery::typed(Uuid sessionID) {
    spawnLogged(executor_, "noting a typed goal", pass(followers_, sessionID, GoalTyped{}));
}

void GoalDelivery::gaveUp(Uuid sessionID, std::string reason) {
    spawnLogged(executor_, "noting a goal that was not typed",
                pass(followers_, sessionID, GoalNotTyped{std::move(reason)}));
}

/// Without the event nothing is typed: what cannot be stored could be done twice. While the disk is full the
/// goal waits.
Task<void> GoalDelivery::storeTyping(std::shared_ptr<Followers> followers, DispatchStore store, Clock& clock,
                                     Uuid sessionID) {
    while (true) {
        const ItemEvent event{.itemID = followedIn(*followers, sessionID).itemID,
                              .kind = EventKind::typing,
                              .message = "Typing the goal.",
                              .sessionID = sessionID};
        const auto trouble = co_await troubleToTell(store, event);
        Followed& followed = followedIn(*followers, sessionID);
        if (!trouble) {
            co_return followed.mailbox.deliver(GoalTypingBegins{});
        }
        followed.onTrouble(*trouble);
        co_await clock.sleepFor(pauseBeforeStoring);
    }
}

GoalDelivery::Followed& GoalDelivery::followedIn(Followers& followers, const Uuid& sessionID) {
    const auto followed = followers.find(sessionID);
    if (followed == followers.end()) {
        throw std::runtime_error("The session is ending.");
    }
    return followed->second;
}

Task<void> GoalDelivery::pass(std::shared_ptr<Followers> followers, Uuid sessionID, SessionEvent news) {
    const auto followed = followers->find(sessionID);
    if (followed != followers->end()) {
        followed->second.mailbox.deliver(std::move(news));
    }
    co_return;
}

}  // namespace quernlight::host
