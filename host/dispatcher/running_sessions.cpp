#include "host/dispatcher/running_sessions.hpp"

#include <algorithm>

#include "host/process/caught_exception.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

void RunningSessions::start(const boost::asio::any_io_executor& executor, const BugQueueItem& item,
                            const AppMapping& mapping) {
    if (contains(item.id)) {
        return;
    }
    const std::shared_ptr<Session> session = make_(item, mapping);
    sessions_.emplace(item.id, session);
    spawnLogged(executor, "the session of bug " + item.bugID, run(session));
}

Task<void> RunningSessions::run(std::shared_ptr<Session> session) {
    const std::exception_ptr failure = co_await caughtException(session->run());
    sessions_.erase(session->item().id);
    ended_(session->item(), failure);
}

bool RunningSessions::stop(const Uuid& itemID) const {
    const auto found = sessions_.find(itemID);
    if (found == sessions_.end()) {
        return false;
    }
    found->second->stop();
    return true;
}

bool RunningSessions::haveProcess(const ProcessEntry& process) const {
    return std::ranges::any_of(sessions_,
                               [&](const auto& session) { return session.second->hasProcess(process); });
}

}  // namespace quernlight::host
