#pragma once

#include <string>

#include "host/process/stop_request.hpp"
#include "host/process/task_set.hpp"
#include "host/session/comment_poll.hpp"
#include "host/session/session_log.hpp"

namespace quernlight::host {

/// What a session learns from the bug's comments: whether its agent has reported, and whether it lives. Which
/// of them are the session's, and what they come to, is the library's `CompletionDetector`'s.
class SessionComments {
  public:
    SessionComments(CommentPolling polling, StopRequest& stop, SessionState& state, SessionLog& log)
        : polling_(std::move(polling)), stop_(stop), state_(state), log_(log) {}

    /// Polls them from now on among `tasks` and tells the mailbox.
    void beginPolling(TaskSet& tasks, SessionMailbox::Continuation mailbox);

    // What the poll has told.
    void take(CommentsChanged comments);
    void take(const CommentTrouble& trouble);

    /// A rule is about to fail the session: whatever the agent has reported by now comes first. While the
    /// backend cannot be asked, or wants to be left alone, the session waits, since its work may be done.
    Task<void> lookForReport();

    /// Once the agent has exited: whether all that it may have reported is known.
    Task<bool> learnLast();

    /// The session is over.
    void end();

  private:
    Task<bool> learn(Task<ReadableList<QLCommentDTO>> fetching);
    Task<ReadableList<QLCommentDTO>> fetch();
    CompletionPollState pollState() const;
    void alert(const std::string& sentence);

    const CommentPolling polling_;
    StopRequest& stop_;
    SessionState& state_;
    SessionLog& log_;
    Clock::TimePoint nextLook_{};
};

}  // namespace quernlight::host
