#include "host/tools/bug_tools.hpp"

#include <algorithm>
#include <utility>

#include <boost/asio/error.hpp>
#include <boost/json/serialize.hpp>
#include <boost/system/system_error.hpp>

#include "host/text/failure_sentence.hpp"
#include "host/tools/attachment_files.hpp"
#include "host/tools/bug_json.hpp"
#include "host/tools/tool_descriptions.hpp"
#include "quernlight/platform/control_characters.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

constexpr std::size_t mostChanges = 500;  // of one session
constexpr int mostListed = 200;
constexpr std::size_t mostOfAWord = 60;

ToolResult done(const json::object& result) {
    return {ToolOutcome::done, json::serialize(result)};
}

ToolResult refused(std::string sentence) {
    return {ToolOutcome::refused, std::move(sentence)};
}

std::string textOf(const json::object& arguments, std::string_view name) {
    const json::value* value = arguments.if_contains(name);
    return value && value->is_string() ? std::string(value->get_string()) : std::string();
}

std::string shownID(const std::string& bugID) {
    return "\"" + escapedLine(bugID, mostOfAWord) + "\"";
}

/// Whether a tool's `bug_id`, or its absence, means the session's own bug.
bool isOwnBug(const ToolSession& session, const std::string& bugID) {
    return bugID.empty() || BugID::normalized(bugID) == session.grant.item.bugID;
}

bool isOwnApp(const ToolSession& session, const std::string& bundleID) {
    return bundleID == session.grant.item.bundleID;
}

/// Why a call that was not made yet is not made.
std::optional<ToolResult> tooMany(const ToolSession& session, const std::string& key) {
    if (session.calls.size() < mostChanges || session.calls.knows(key)) {
        return std::nullopt;
    }
    return refused("This session has made " + std::to_string(mostChanges) + " changes; no more are taken.");
}

ToolResult otherApp(const ToolSession& session, const std::string& bugID) {
    return refused("The bug " + shownID(bugID) +
                   " belongs to another app; this session may read the bugs of " +
                   session.grant.item.appName + " only.");
}

void rethrowIfCancelled(const std::exception& error) {
    const auto* system = dynamic_cast<const boost::system::system_error*>(&error);
    if (system && system->code() == boost::asio::error::operation_aborted) {
        throw;
    }
}

/// The result of a call that changes nothing; what it throws is told.
Task<ToolResult> reading(Task<ToolResult> call) {
    try {
        co_return co_await std::move(call);
    } catch (const std::exception& error) {
        rethrowIfCancelled(error);
        const auto* answer = dynamic_cast<const BackendError*>(&error);
        if (answer && answer->isServer(404)) {
            co_return ToolResult{ToolOutcome::badArguments, "The backend knows no such bug."};
        }
        co_return ToolResult{ToolOutcome::failed, "The backend could not be asked: " +
                                                      failureSentence(error) + " Try again in a moment."};
    }
}

/// What is said of a change that failed; `what` is "the comment" or "the status".
ToolResult failedChange(const std::exception& error, const std::string& what, const std::string& next) {
    const ToolOutcome outcome = outcomeOfFailure(error);
    const std::string cause = failureSentence(error);
    return {outcome, outcome == ToolOutcome::failed ? "The backend has not taken " + what + ": " + cause
                                                    : "It is not known whether the backend has taken " +
                                                          what + ": " + cause + " " + next};
}

constexpr const char* lookForComment =
    "Look with list_comments first: the same call again looks for it, too, and posts it no second time.";

bool isSame(const QLCommentDTO& comment, const CommentDraft& draft) {
    const JSONValue::Object* metadata = comment.metadata ? comment.metadata->objectValue() : nullptr;
    if (!metadata || comment.authorType != "agent" || comment.body != draft.comment.body ||
        comment.attachments.size() != draft.attachments.size()) {
        return false;
    }
    return std::all_of(draft.comment.metadata->begin(), draft.comment.metadata->end(),
                       [metadata](const auto& expected) {
                           const auto found = metadata->find(expected.first);
                           return found != metadata->end() && found->second.stringValue() == expected.second;
                       });
}

}  // namespace

ToolOutcome outcomeOfFailure(const std::exception& error) {
    constexpr int notImplemented = 501;
    constexpr int unavailable = 503;
    if (const auto* answer = dynamic_cast<const BackendError*>(&error)) {
        // A proxy says "unavailable", too, of a connection that broke after the request was sent; only a
        // server that takes nothing names a time to come back.
        const bool isTurnedAway = answer->status() == unavailable && answer->retryAfter();
        const bool isCertain =
            answer->which() == BackendError::Case::invalidURL ||
            (answer->which() == BackendError::Case::server &&
             (answer->status() < 500 || answer->status() == notImplemented || isTurnedAway));
        return isCertain ? ToolOutcome::failed : ToolOutcome::unknown;
    }
    if (const auto* transport = dynamic_cast<const TransportError*>(&error)) {
        return transport->mayHaveArrived() ? ToolOutcome::unknown : ToolOutcome::failed;
    }
    return ToolOutcome::unknown;
}

Task<ToolResult> BugTools::call(Session session, std::string name, json::object arguments) {
    const ToolDescription* tool = findTool(name);
    if (!tool) {
        co_return ToolResult{ToolOutcome::badArguments,
                             "There is no tool \"" + escapedLine(name, mostOfAWord) + "\"."};
    }
    if (auto trouble = argumentTrouble(*tool, arguments)) {
        co_return ToolResult{ToolOutcome::badArguments, std::move(*trouble)};
    }
    std::string bugID = textOf(arguments, "bug_id");
    if (!tool->isReadOnly) {
        co_return co_await change(std::move(session), tool->name, std::move(arguments));
    }
    if (tool->name == "get_bug") {
        co_return co_await reading(getBug(std::move(session), std::move(bugID)));
    }
    if (tool->name == "list_comments") {
        co_return co_await reading(listComments(std::move(session), std::move(bugID)));
    }
    co_return co_await reading(listBugs(std::move(session), std::move(arguments)));
}

Task<ToolResult> BugTools::change(Session session, std::string_view tool, json::object arguments) {
    const std::string bugID = textOf(arguments, "bug_id");
    if (!isOwnBug(*session, bugID)) {
        co_return refused("The bug " + shownID(bugID) + " is not that of this session; it may change \"" +
                          session->grant.item.bugID + "\" only.");
    }
    if (tool == "update_bug_status") {
        std::string status = textOf(arguments, "status");
        co_return co_await updateStatus(std::move(session), std::move(status));
    }
    co_return co_await createComment(std::move(session), std::move(arguments));
}

Task<ToolResult> BugTools::getBug(Session session, std::string bugID) {
    std::string wanted = bugID.empty() ? session->grant.item.bugID : bugID;
    const QLBugDetailResponse detail = co_await client_.fetchBugDetail(std::move(wanted));
    co_return isOwnApp(*session, detail.bug.bundleID) ? done(shownBug(detail)) : otherApp(*session, bugID);
}

Task<ToolResult> BugTools::listComments(Session session, std::string bugID) {
    std::string wanted = bugID.empty() ? session->grant.item.bugID : bugID;
    if (!isOwnBug(*session, bugID)) {
        const QLBugDetailResponse detail = co_await client_.fetchBugDetail(wanted);
        if (!isOwnApp(*session, detail.bug.bundleID)) {
            co_return otherApp(*session, bugID);
        }
    }
    const auto comments = co_await client_.fetchReadableComments(std::move(wanted));
    co_return done(shownComments(comments));
}

Task<ToolResult> BugTools::listBugs(Session session, json::object arguments) {
    constexpr std::size_t usual = 50;
    const std::string status = textOf(arguments, "status");
    std::vector<std::string> statuses{"open", "investigate", "in_review"};
    if (!status.empty()) {
        statuses = {status};
    }
    std::vector<std::vector<QLBugSummaryDTO>> lists;
    for (const std::string& one : statuses) {
        auto list = co_await client_.fetchReadableBugs(one, mostListed);
        lists.push_back(std::move(list.records));
    }
    auto bugs = mergedBugs(std::move(lists));
    std::erase_if(bugs, [&session](const auto& bug) { return !isOwnApp(*session, bug.bundleID); });
    const json::value* limit = arguments.if_contains("limit");
    const std::size_t most =
        limit && limit->is_int64() ? static_cast<std::size_t>(limit->get_int64()) : usual;
    bugs.resize(std::min(bugs.size(), most));
    co_return done(shownBugs(bugs));
}

/// Only a repetition of the latest status is the same call again: one that was set before another is to be
/// set anew. To set a status twice is to set it once, so that one whose fate is unknown may be.
Task<ToolResult> BugTools::updateStatus(Session session, std::string status) {
    const std::string key = "status " + status;
    if (auto refusal = tooMany(*session, key)) {
        co_return std::move(*refusal);
    }
    const std::string last = std::exchange(session->lastStatus, status);
    if (last != status) {
        session->calls.forget("status " + last);
    }
    const CallMemory::Answer answer =
        co_await session->calls.once(key, setStatus(session, std::move(status)));
    if (answer.result.outcome == ToolOutcome::unknown) {
        session->calls.forget(key);
    }
    co_return answer.result;
}

Task<ToolResult> BugTools::setStatus(Session session, std::string status) {
    const std::string& bugID = session->grant.item.bugID;
    try {
        co_await client_.updateBugStatus(bugID, status);
        co_return done({{"bug_id", bugID}, {"status", status}});
    } catch (const std::exception& error) {
        rethrowIfCancelled(error);
        co_return failedChange(error, "the status", "Set it again.");
    }
}

Task<ToolResult> BugTools::createComment(Session session, json::object arguments) {
    const CommentIdentity identity = co_await identityOf(session);
    auto drafted = draftComment(arguments, identity);
    if (auto* trouble = std::get_if<ToolResult>(&drafted)) {
        co_return std::move(*trouble);
    }
    auto& draft = std::get<CommentDraft>(drafted);
    const std::string key = "comment " + fingerprint(draft);
    if (auto refusal = tooMany(*session, key)) {
        co_return std::move(*refusal);
    }
    CallMemory::Answer answer = co_await session->calls.once(key, post(session, draft));
    if (answer.isRepeated && answer.result.outcome == ToolOutcome::unknown) {
        answer.result = co_await look(session, std::move(draft), std::move(answer.result));
        session->calls.correct(key, answer.result);
    }
    co_return std::move(answer.result);
}

Task<CommentIdentity> BugTools::identityOf(Session session) {
    const ToolGrant& grant = session->grant;
    CommentIdentity identity{.queueItemID = grant.item.id, .sessionID = grant.sessionID};
    const auto attempts = co_await attempts_.attempts(grant.item.id);
    for (const SessionAttemptRecord& attempt : attempts) {
        if (const auto earlier = parseUuid(attempt.completionMarker)) {
            identity.earlierSessions.insert(*earlier);
        }
    }
    co_return identity;
}

Task<ToolResult> BugTools::post(Session session, CommentDraft draft) {
    const ToolGrant& grant = session->grant;
    try {
        const AttachmentPlaces places{grant.worktree, grant.attemptDirectory};
        std::vector<Attachment> attachments;
        if (!draft.attachments.empty()) {
            attachments = co_await background_.run(
                [&places, &draft] { return readAttachments(places, draft.attachments); });
        }
        if (!session->isLive) {
            co_return refused("This session has ended; the comment was not posted.");
        }
        const QLCommentDTO comment = co_await client_.createCommentWith(
            std::move(attachments), grant.item.bugID, std::move(draft.comment));
        grant.reported(comment);
        co_return done({{"comment", shownComment(comment)}});
    } catch (const AttachmentRefused& error) {
        co_return refused(error.what());
    } catch (const std::exception& error) {
        rethrowIfCancelled(error);
        co_return failedChange(error, "the comment", lookForComment);
    }
}

/// A comment of which it was not known whether it was posted: it was, if it is there now. If it is not, it
/// may still come, so it is posted no second time.
Task<ToolResult> BugTools::look(Session session, CommentDraft draft, ToolResult before) {
    try {
        const auto comments = co_await client_.fetchReadableComments(session->grant.item.bugID);
        const auto& all = comments.records;
        const auto found = std::find_if(all.rbegin(), all.rend(), [&draft](const QLCommentDTO& comment) {
            return isSame(comment, draft);
        });
        if (found != all.rend()) {
            session->grant.reported(*found);
            co_return done({{"comment", shownComment(*found)}});
        }
        before.text =
            "The comment is not among the bug's comments; its first posting may have failed. If it "
            "is still missing after another look with list_comments, post it with a changed body.";
    } catch (const std::exception& error) {
        rethrowIfCancelled(error);
    }
    co_return before;
}

}  // namespace quernlight::host
