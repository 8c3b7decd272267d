#include "demo/checks.hpp"

#include <algorithm>
#include <fstream>
#include <iterator>

#include <boost/json/parse.hpp>

#include "host/events/item_history.hpp"
#include "host/events/session_stage.hpp"
#include "quernlight/git/git_runner.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/text.hpp"
#include "quernlight/storage/connection.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::demo {
namespace json = boost::json;
namespace fs = std::filesystem;
namespace {

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string textOf(const Row& row, const std::string& column) {
    const auto found = row.find(column);
    const std::string* text = found == row.end() ? nullptr : found->second.asText();
    return text ? *text : "";
}

/// The kinds of the program's own events, or of the queue manager's, a blank between two.
std::string kinds(const std::vector<Row>& events, bool own) {
    std::string texts;
    for (const Row& event : events) {
        if (host::isOwnKind(textOf(event, "kind")) == own) {
            texts += (texts.empty() ? "" : " ") + textOf(event, "kind");
        }
    }
    return texts;
}

/// What the backend's own record says of one bug.
struct BackendRecord {
    json::object bug;
    json::object lastAgentComment;
};

BackendRecord backendRecordOf(const DemoBug& bug, const fs::path& stateFile) {
    const json::value state = json::parse(contentOf(stateFile));
    BackendRecord record;
    for (const json::value& candidate : state.at("bugs").as_array()) {
        if (lowercased(candidate.at("id").as_string()) == lowercased(bug.id)) {
            record.bug = candidate.as_object();
        }
    }
    for (const json::value& comment : state.at("comments").as_array()) {
        if (lowercased(comment.at("bug_id").as_string()) == lowercased(bug.id) &&
            comment.at("author_type") == "agent") {
            record.lastAgentComment = comment.as_object();
        }
    }
    return record;
}

std::string member(const json::object& object, const char* name) {
    const json::value* value = object.if_contains(name);
    return value && value->is_string() ? std::string(value->as_string()) : "";
}

std::string metadataOf(const json::object& comment, const char* name) {
    const json::value* metadata = comment.if_contains("metadata");
    return metadata && metadata->is_object() ? member(metadata->as_object(), name) : "";
}

/// The checks of one bug, one source of truth after the other.
class BugCheck {
  public:
    BugCheck(const DemoBug& bug, const DemoDirectory& directory, Connection& database)
        : bug_(bug), directory_(directory), database_(database) {
        finding_.bugID = bug.shortID();
    }

    Task<DemoFinding> run() {
        checkDatabase();
        checkBackend();
        checkTranscripts();
        co_await checkGit();
        co_return std::move(finding_);
    }

  private:
    bool asked() const { return bug_.outcome == ExpectedOutcome::asked; }

    void expect(bool right, const std::string& mistake) {
        if (!right) {
            finding_.mistakes.push_back(mistake);
        }
    }

    void checkDatabase() {
        const auto items =
            database_.query("SELECT * FROM queue_items WHERE bug_id = ?", {SQLValue::text(bug_.shortID())});
        if (items.size() != 1) {
            return expect(false, "the queue holds it " + std::to_string(items.size()) + " times.");
        }
        item_ = items.front();
        const auto status = queueItemStatusFromRawValue(textOf(item_, "status"));
        finding_.outcome = status ? host::statusText(BugQueueItem{.status = *status}) : "unknown";
        expect(status == (asked() ? QueueItemStatus::awaitingUserInput : QueueItemStatus::completed),
               "its status is \"" + finding_.outcome + "\".");
        expect(item_.at("active_session_id").isNull(), "it still has an active session.");
        expect(!textOf(item_, "codex_session_id").empty(), "the agent's own session is not known.");
        checkEvents();
        checkAttempt();
    }

    void checkEvents() {
        const auto events = database_.query(
            "SELECT kind FROM queue_events WHERE queue_item_id = ? ORDER BY created_at, rowid",
            {item_.at("id")});
        const std::string expected = std::string("enqueued startingCodex running codexSessionStored ") +
                                     (asked() ? "awaitingUserInput" : "codexCompleted completed");
        expect(kinds(events, false) == expected, "its events are: " + kinds(events, false) + ".");
        const std::string expectedOwn = std::string("worktreeReady agentStarted typing typed goalAccepted ") +
                                        (asked() ? "questionAsked agentExited" : "agentExited");
        expect(kinds(events, true) == expectedOwn,
               "the session's own events are: " + kinds(events, true) + ".");
    }

    void checkAttempt() {
        const auto attempts =
            database_.query("SELECT * FROM session_attempts WHERE queue_item_id = ?", {item_.at("id")});
        if (attempts.size() != 1) {
            return expect(false, "it has " + std::to_string(attempts.size()) + " attempts.");
        }
        attempt_ = attempts.front();
        finding_.transcript = textOf(attempt_, "transcript_text_path");
        const auto started = parseInstant(textOf(attempt_, "started_at"));
        const auto ended = parseInstant(textOf(attempt_, "ended_at"));
        finding_.seconds = started && ended ? secondsOf(*ended - *started) : 0;
        expect(textOf(attempt_, "state") == "completed",
               "its attempt is \"" + textOf(attempt_, "state") + "\".");
        expect(attempt_.at("exit_code").asInteger() == 0, "the agent did not exit with 0.");
        expect(textOf(attempt_, "goal_text").starts_with("/goal\n"), "its goal is no goal.");
    }

    void checkBackend() {
        const BackendRecord record = backendRecordOf(bug_, directory_.backendState());
        const std::string status = member(record.bug, "status");
        expect(status == (asked() ? "investigate" : "in_review"),
               "the backend has it as \"" + status + "\".");
        expect(lowercased(metadataOf(record.lastAgentComment, "queue_item_id")) ==
                   lowercased(textOf(item_, "id")),
               "the agent's comment does not name the queue item.");
        expect(lowercased(metadataOf(record.lastAgentComment, "session_id")) ==
                   lowercased(textOf(attempt_, "completion_marker")),
               "the agent's comment does not name the session.");
        expect(lowercased(member(record.lastAgentComment, "id")) ==
                   lowercased(textOf(attempt_, "completion_comment_id")),
               "the attempt does not name the agent's comment.");
        pullRequest_ = member(record.bug, "pr_url");
        expect(asked() == pullRequest_.empty(), "its pull request is \"" + pullRequest_ + "\".");
    }

    void checkTranscripts() {
        const std::string plain = contentOf(finding_.transcript);
        finding_.transcriptLines = static_cast<std::size_t>(std::count(plain.begin(), plain.end(), '\n'));
        expect(!plain.empty() && plain.find('\x1b') == std::string::npos,
               "its plain transcript is not plain text.");
        expect(contentOf(textOf(attempt_, "transcript_ansi_path")).find('\x1b') != std::string::npos,
               "its ANSI transcript has no control sequence.");
    }

    Task<void> checkGit() {
        const std::string onRemote =
            co_await revision(directory_.bareRepository(), "refs/heads/" + bug_.branch());
        if (asked()) {
            expect(onRemote.empty(), "the agent pushed a branch although it only asked.");
            co_return;
        }
        finding_.branch = onRemote.empty() ? "" : bug_.branch();
        const std::string worktree = (directory_.worktrees() / bug_.branch()).string();
        expect(!onRemote.empty(), "the remote has no branch " + bug_.branch() + ".");
        expect(co_await revision(worktree, "HEAD") == onRemote, "the worktree is not at the pushed commit.");
        std::vector<std::string> currentBranch{"-C", worktree, "symbolic-ref", "--short", "HEAD"};
        expect(co_await answer(std::move(currentBranch)) == bug_.branch(),
               "the worktree is not on branch " + bug_.branch() + ".");
        const std::string pullHead =
            "refs/pull/" + pullRequest_.substr(pullRequest_.rfind('/') + 1) + "/head";
        expect(co_await revision(directory_.bareRepository(), pullHead) == onRemote,
               "the pull request " + pullRequest_ + " is not at the pushed commit.");
        std::vector<std::string> countCommits{"-C", worktree, "rev-list", "--count", "origin/main..HEAD"};
        expect(co_await answer(std::move(countCommits)) == expectedCommits(),
               "the branch does not hold the commits it should.");
    }

    /// A follow-up stands on the commit that was in review before.
    std::string expectedCommits() const { return bug_.outcome == ExpectedOutcome::followedUp ? "2" : "1"; }

    /// Git's answer, or nothing when it fails.
    static Task<std::string> answer(std::vector<std::string> arguments) {
        const GitRunner ask = runGitWith({}, GitOutput::answer);
        const GitCommandResult result = co_await ask(std::move(arguments));
        co_return result.succeeded() ? result.output : "";
    }

    static Task<std::string> revision(fs::path repository, std::string name) {
        std::vector<std::string> arguments{"-C",       repository.string(), "rev-parse",
                                           "--verify", "--quiet",           std::move(name)};
        return answer(std::move(arguments));
    }

    const DemoBug& bug_;
    const DemoDirectory& directory_;
    Connection& database_;
    DemoFinding finding_;
    Row item_{{"id", {}}};
    Row attempt_;
    std::string pullRequest_;
};

}  // namespace

Task<std::vector<DemoFinding>> checkDemo(const DemoDirectory& directory) {
    Connection database(FileLocations::databaseURL(directory.dispatchHome()), Connection::Access::readOnly);
    std::vector<DemoFinding> findings;
    for (const DemoBug& bug : demoBugs()) {
        BugCheck check(bug, directory, database);
        findings.push_back(co_await check.run());
    }
    co_return findings;
}

}  // namespace quernlight::demo
