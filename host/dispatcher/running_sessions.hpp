#pragma once

#include <exception>
#include <functional>
#include <map>
#include <memory>

#include <boost/asio/any_io_executor.hpp>

#include "host/session/session.hpp"

namespace quernlight::host {

/// The sessions that run, at most one an item; each is held until it has ended. Outlives them. Used on one
/// executor.
class RunningSessions {
  public:
    /// Told of each end, once the session is no longer among those that run; `failure` is what it threw.
    using EndListener = std::function<void(const BugQueueItem& item, const std::exception_ptr& failure)>;

    RunningSessions(SessionFactory make, EndListener ended)
        : make_(std::move(make)), ended_(std::move(ended)) {}

    /// Starts the item's session, unless it has one that runs.
    void start(const boost::asio::any_io_executor& executor, const BugQueueItem& item,
               const AppMapping& mapping);

    /// Ends the item's session politely, see Session::stop. Whether it has one.
    bool stop(const Uuid& itemID) const;

    bool isEmpty() const { return sessions_.empty(); }
    int count() const { return static_cast<int>(sessions_.size()); }
    bool contains(const Uuid& itemID) const { return sessions_.contains(itemID); }

    /// Whether the process was seen to be of one of their agents.
    bool haveProcess(const ProcessEntry& process) const;

  private:
    Task<void> run(std::shared_ptr<Session> session);

    const SessionFactory make_;
    const EndListener ended_;
    std::map<Uuid, std::shared_ptr<Session>> sessions_;  // by queue item
};

}  // namespace quernlight::host
