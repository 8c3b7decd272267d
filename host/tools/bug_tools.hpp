#pragma once

#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include <boost/json/object.hpp>

#include "host/tools/comment_draft.hpp"
#include "host/tools/tool_access.hpp"
#include "quernlight/backend/quernlight_client.hpp"
#include "quernlight/platform/background_executor.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/queue/session_attempt_repository.hpp"

namespace quernlight::host {

/// What the tools do, at the backend and with the owner's token, for sessions whose right to call them is
/// known. A change is made at most once (see CallMemory). Used on one executor; outlives the calls.
class BugTools {
  public:
    using Session = std::shared_ptr<ToolSession>;

    /// `background` reads the attachments.
    BugTools(QuernlightClient client, SessionAttemptRepository attempts, BackgroundExecutor& background)
        : client_(std::move(client)), attempts_(std::move(attempts)), background_(background) {}

    /// Throws DatabaseError; what the backend says, or does not, is in the result.
    Task<ToolResult> call(Session session, std::string name, boost::json::object arguments);

  private:
    Task<ToolResult> change(Session session, std::string_view tool, boost::json::object arguments);
    Task<ToolResult> getBug(Session session, std::string bugID);
    Task<ToolResult> listComments(Session session, std::string bugID);
    Task<ToolResult> listBugs(Session session, boost::json::object arguments);
    Task<ToolResult> updateStatus(Session session, std::string status);
    Task<ToolResult> setStatus(Session session, std::string status);
    Task<ToolResult> createComment(Session session, boost::json::object arguments);
    Task<CommentIdentity> identityOf(Session session);
    Task<ToolResult> post(Session session, CommentDraft draft);
    Task<ToolResult> look(Session session, CommentDraft draft, ToolResult before);

    const QuernlightClient client_;
    const SessionAttemptRepository attempts_;
    BackgroundExecutor& background_;
};

/// What a failed attempt to change something at the backend came to: `failed` when the backend certainly did
/// nothing, else `unknown`.
ToolOutcome outcomeOfFailure(const std::exception& error);

}  // namespace quernlight::host
