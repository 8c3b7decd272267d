#pragma once

#include <functional>
#include <memory>

#include "quernlight/platform/process_table.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/queue/bug_queue_item.hpp"
#include "quernlight/queue/mapping_repository.hpp"

namespace quernlight::host {

/// One run of the agent on one queued bug, as the dispatcher sees it. It heeds the program's wish to stop by
/// itself.
class Session {
  public:
    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    virtual ~Session() = default;

    /// To its end. Throws what keeps that end from being stored; the item has to be reconciled then.
    virtual Task<void> run() = 0;

    /// Ends it politely, as a person wishes: its bug is held then, and goes on in the same conversation once
    /// it is started again. What it has come to by then still counts.
    virtual void stop() = 0;

    virtual const BugQueueItem& item() const = 0;

    /// Whether the process was seen to be of its agent's.
    virtual bool hasProcess(const ProcessEntry& process) const = 0;
};

/// Makes the session of an item whose app has this mapping.
using SessionFactory = std::function<std::shared_ptr<Session>(BugQueueItem, AppMapping)>;

}  // namespace quernlight::host
