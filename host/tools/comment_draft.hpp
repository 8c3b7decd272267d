#pragma once

#include <set>
#include <string>
#include <variant>
#include <vector>

#include <boost/json/object.hpp>

#include "host/tools/tool_result.hpp"
#include "quernlight/backend/request_bodies.hpp"
#include "quernlight/platform/identifiers.hpp"

namespace quernlight::host {

/// Whose comment it is.
struct CommentIdentity {
    Uuid queueItemID{};
    Uuid sessionID{};
    std::set<Uuid> earlierSessions{};  ///< of the same item; an agent that was resumed remembers theirs
};

/// A comment as it is to be posted, and the files that go with it as the agent named them.
struct CommentDraft {
    CreateCommentRequest comment{};
    std::vector<std::string> attachments{};
};

/// What a call of `create_comment` asks for, its arguments being of the right types: the author is the agent,
/// `queue_item_id` and `session_id` are filled in, and the session's takes the place of an earlier one's.
/// Else why not, for the agent.
std::variant<CommentDraft, ToolResult> draftComment(const boost::json::object& arguments,
                                                    const CommentIdentity& identity);

/// The same for every call that asks for the same comment.
std::string fingerprint(const CommentDraft& draft);

}  // namespace quernlight::host
