#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include <boost/asio/any_io_executor.hpp>

#include "host/agent/session_mailbox.hpp"
#include "host/store/dispatch_store.hpp"
#include "quernlight/runner/initial_input_observer.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {

/// Stands between the runner's typist and the sessions: stores that a goal is about to be typed before its
/// first key is, so that a restart can tell, and passes the news on to the session's mailbox. The sessions'
/// side is used on the executor given, the observer's side by the runner on its own thread.
class GoalDelivery final : public InitialInputObserver {
  public:
    /// Where a session's news go, and its events.
    struct Followed {
        Uuid itemID;
        SessionMailbox::Continuation mailbox;
        std::function<void(const DatabaseError&)>
            onTrouble;  ///< an event that cannot be stored at the moment
    };

    GoalDelivery(boost::asio::any_io_executor executor, DispatchStore store, Clock& clock);

    /// From now on the session is followed. Before startSession.
    void follow(const Uuid& sessionID, Followed session);

    /// A goal that is not yet being typed will not be.
    void forget(const Uuid& sessionID);

    void waiting(Uuid sessionID) override;
    Task<void> aboutToType(Uuid sessionID) override;
    void typed(Uuid sessionID) override;
    void gaveUp(Uuid sessionID, std::string reason) override;

  private:
    using Followers = std::map<Uuid, Followed>;

    static Followed& followedIn(Followers& followers, const Uuid& sessionID);
    static Task<void> storeTyping(std::shared_ptr<Followers> followers, DispatchStore store, Clock& clock,
                                  Uuid sessionID);
    static Task<void> pass(std::shared_ptr<Followers> followers, Uuid sessionID, SessionEvent news);

    const boost::asio::any_io_executor executor_;
    const DispatchStore store_;
    Clock& clock_;
    const std::shared_ptr<Followers> followers_;  // what is under way on the executor may outlive this
};

}  // namespace quernlight::host
