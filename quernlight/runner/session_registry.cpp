#include "quernlight/runner/session_registry.hpp"

#include <algorithm>
#include <utility>

#include "quernlight/runner/runner_error.hpp"

namespace quernlight {

void SessionRegistry::add(const Uuid& sessionID, std::shared_ptr<PTYProcess> process) {
    const std::lock_guard guard(lock_);
    // Asked under the lock: an exit that comes later finds the entry and removes it.
    if (!process->isRunning()) {
        return;
    }
    auto& entry = processes_[sessionID];
    std::swap(entry, process);
    if (process) {
        replaced_.push_back(std::move(process));
    }
}

std::shared_ptr<PTYProcess> SessionRegistry::process(const Uuid& sessionID) const {
    const std::lock_guard guard(lock_);
    const auto entry = processes_.find(sessionID);
    if (entry == processes_.end()) {
        throw RunnerError::missingSession(sessionID);
    }
    return entry->second;
}

std::vector<RunnerSessionSnapshot> SessionRegistry::snapshots() const {
    const std::lock_guard guard(lock_);
    std::vector<RunnerSessionSnapshot> snapshots;
    for (const auto& [sessionID, process] : processes_) {
        if (auto snapshot = process->snapshot()) {
            snapshots.push_back(*snapshot);
        }
    }
    return snapshots;
}

EventStream<RunnerEvent> SessionRegistry::subscribe(const Uuid& sessionID) {
    EventStream<RunnerEvent> stream;
    stream.onTermination([weak = weak_from_this(), sessionID](const Listener& listener) {
        if (const auto registry = weak.lock()) {
            registry->unsubscribe(sessionID, listener);
        }
    });
    const std::lock_guard guard(lock_);
    listeners_[sessionID].push_back(stream.continuation());
    return stream;
}

std::size_t SessionRegistry::mostWaiting(const Uuid& sessionID) const {
    const std::lock_guard guard(lock_);
    const auto entry = listeners_.find(sessionID);
    std::size_t most = 0;
    if (entry != listeners_.end()) {
        for (const Listener& listener : entry->second) {
            most = std::max(most, listener.waiting());
        }
    }
    return most;
}

void SessionRegistry::dispatch(const RunnerEvent& event) {
    const std::vector<Listener> listeners = listenersFor(event);
    const auto shared = listeners.size() > 1 ? std::make_shared<const RunnerEvent>(event) : nullptr;
    for (const Listener& listener : listeners) {
        shared ? listener.deliverShared(shared) : listener.deliver(event);
        if (event.exited()) {
            listener.finish();
        }
    }
}

std::vector<SessionRegistry::Listener> SessionRegistry::listenersFor(const RunnerEvent& event) {
    const std::lock_guard guard(lock_);
    const auto entry = listeners_.find(event.sessionID());
    std::vector<Listener> listeners = entry == listeners_.end() ? std::vector<Listener>() : entry->second;
    if (event.exited()) {
        removeExited(event.sessionID());
        listeners_.erase(event.sessionID());
    }
    return listeners;
}

/// A process stops running just before its `exited`, and exits are handled one at a time, so what does not
/// run is the process that the event speaks of.
void SessionRegistry::removeExited(const Uuid& sessionID) {
    const auto entry = processes_.find(sessionID);
    if (entry != processes_.end() && !entry->second->isRunning()) {
        processes_.erase(entry);
    }
    std::erase_if(replaced_, [](const auto& process) { return !process->isRunning(); });
}

void SessionRegistry::unsubscribe(const Uuid& sessionID, const Listener& listener) {
    const std::lock_guard guard(lock_);
    const auto entry = listeners_.find(sessionID);
    if (entry == listeners_.end()) {
        return;
    }
    std::erase(entry->second, listener);
    if (entry->second.empty()) {
        listeners_.erase(entry);
    }
}

void SessionRegistry::close() {
    decltype(processes_) processes;
    decltype(replaced_) replaced;
    decltype(listeners_) listeners;
    {
        const std::lock_guard guard(lock_);
        processes.swap(processes_);
        replaced.swap(replaced_);
        listeners.swap(listeners_);
    }
    for (const auto& [sessionID, process] : processes) {
        process->hangUp();
    }
    for (const auto& process : replaced) {
        process->hangUp();
    }
    for (const auto& [sessionID, ofSession] : listeners) {
        for (const Listener& listener : ofSession) {
            listener.finish();
        }
    }
}

}  // namespace quernlight
