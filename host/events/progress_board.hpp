#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "host/events/session_stage.hpp"
#include "quernlight/queue/bug_queue_item.hpp"
#include "quernlight/queue/queue_event.hpp"

namespace quernlight::host {

/// What one bug's line shows.
struct BugProgress {
    std::string bugID{};
    std::string appName{};
    std::string title{};
    SessionStage stage = SessionStage::queued;
    std::string detail{};           ///< the agent's last line, or why it failed; may be empty
    std::optional<int> exitCode{};  ///< of the agent, once it has gone
};

/// The stage in words; of an agent that has exited also how: "exited (code 3)", "ended by SIGSEGV".
std::string stageText(const BugProgress& progress);

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
    virtual void alert(const std::string& topic, const std::string& sentence) {
        std::string& told = alerts_[topic];
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
    std::map<std::string, std::string> alerts_;
};

}  // namespace quernlight::host
