#pragma once

#include <map>
#include <set>
#include <string>

#include "quernlight/queue/bug_queue_item.hpp"
#include "quernlight/queue/queue_event.hpp"

namespace quernlight::host {

/// What one bug's line shows.
struct BugProgress {
    std::string bugID{};
    std::string appName{};
    std::string title{};
    std::string stage{};   ///< "preparing worktree", "working", ...
    std::string detail{};  ///< the agent's last line, or why it failed; may be empty
    bool finished = false;
    bool exited = false;  ///< the agent has gone, and its comment is waited for
};

/// The stage of an item whose last session nobody saw to its end.
inline constexpr const char* stageToBeSettled = "waits to be settled";

/// The line of an item that no session works on.
BugProgress restingProgress(const BugQueueItem& item);

/// One stored event with what a reader needs to place it.
struct LoggedEvent {
    QueueEvent event{};
    std::string bugID{};
};

/// Where the program tells people what moves. Implementations are used on one executor.
class ProgressBoard {
  public:
    virtual ~ProgressBoard() = default;

    /// The bug's line now reads so.
    virtual void show(const BugProgress& progress) = 0;

    /// Something to tell that belongs to no bug's line.
    virtual void note(const std::string& sentence) = 0;

    /// Something that holds until it is told otherwise (an empty sentence): the backend does not answer, say.
    /// `topic` names it.
    virtual void condition(const std::string& topic, const std::string& sentence) {
        std::string& told = conditions_[topic];
        if (told != sentence && !sentence.empty()) {
            note(sentence);
        }
        told = sentence;
    }

    /// The bug has left the queue; nothing more is shown of it.
    virtual void gone(const std::string&) {}

    /// An event of an item's history, as it was stored.
    virtual void event(const LoggedEvent&) {}

    /// A note, unless it has been told already.
    void noteOnce(const std::string& sentence) {
        if (noted_.insert(sentence).second) {
            note(sentence);
        }
    }

    /// No more changes; what is on the screen stays.
    virtual void close() {}

  private:
    std::set<std::string> noted_;
    std::map<std::string, std::string> conditions_;
};

}  // namespace quernlight::host
