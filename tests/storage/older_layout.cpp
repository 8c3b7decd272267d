#include "tests/storage/older_layout.hpp"

namespace quernlight::test {
namespace {

// Typed out rather than taken from the migrations, which are what these files put to the test.

std::string when(bool present, const char* text) {
    return present ? text : "";
}

std::string mappingsTable(const OlderLayout& layout) {
    return "CREATE TABLE app_mappings (bundle_id TEXT PRIMARY KEY, app_id TEXT, app_name TEXT NOT NULL, "
           "repo_path TEXT NOT NULL, " +
           when(layout.mappingsHaveWorktreeRoot, "worktree_root_path TEXT, ") +
           "base_branch TEXT NOT NULL DEFAULT 'main', codex_profile TEXT NOT NULL DEFAULT 'default', "
           "created_at TEXT NOT NULL, updated_at TEXT NOT NULL)";
}

std::string itemsTable(const OlderLayout& layout) {
    return "CREATE TABLE queue_items (id TEXT PRIMARY KEY, bug_id TEXT NOT NULL, app_id TEXT NOT NULL, "
           "app_name TEXT NOT NULL, bundle_id TEXT NOT NULL, title TEXT NOT NULL, bug_url TEXT NOT NULL, "
           "queue_position INTEGER NOT NULL, " +
           when(layout.itemsHaveQueueMode, "queue_mode TEXT NOT NULL DEFAULT 'auto', ") +
           "status TEXT NOT NULL, " +
           when(layout.itemsHaveGoalFlow, "goal_flow TEXT NOT NULL DEFAULT 'fix_bug', ") +
           "priority INTEGER NOT NULL DEFAULT 0, active_session_id TEXT, " +
           when(layout.itemsHaveConversation, "codex_session_id TEXT, ") +
           "error_message TEXT, created_at TEXT NOT NULL, added_at TEXT NOT NULL, started_at TEXT, "
           "completed_at TEXT, cancelled_at TEXT, UNIQUE(bug_id) ON CONFLICT IGNORE)";
}

std::string attemptsTable(const OlderLayout& layout) {
    return "CREATE TABLE session_attempts (id TEXT PRIMARY KEY, queue_item_id TEXT " +
           when(layout.attemptsRequireAnItem, "NOT NULL ") +
           "REFERENCES queue_items(id) ON DELETE CASCADE, attempt_number INTEGER NOT NULL, "
           "bug_id TEXT NOT NULL, repo_path TEXT NOT NULL, agent_workspace_path TEXT, "
           "transcript_ansi_path TEXT NOT NULL, transcript_text_path TEXT NOT NULL, "
           "goal_text TEXT NOT NULL, completion_marker TEXT NOT NULL, pid INTEGER, state TEXT NOT NULL, "
           "exit_code INTEGER, started_at TEXT NOT NULL, last_output_at TEXT, ended_at TEXT, "
           "completion_comment_id TEXT, completion_comment_created_at TEXT, " +
           when(layout.attemptsHaveConversation, "codex_session_id TEXT, ") +
           when(layout.attemptsHaveFailureReason, "failure_reason TEXT, ") +
           "UNIQUE(queue_item_id, attempt_number))";
}

using Statements = std::vector<std::string>;

void add(Statements& statements, bool present, const Statements& more) {
    if (present) {
        statements.insert(statements.end(), more.begin(), more.end());
    }
}

void addTables(Statements& statements, const OlderLayout& layout) {
    add(statements, true, {mappingsTable(layout), itemsTable(layout)});
    add(statements, layout.hasAttempts, {attemptsTable(layout)});
    add(statements, layout.hasEventsAndSettings,
        {"CREATE TABLE queue_events (id TEXT PRIMARY KEY, queue_item_id TEXT NOT NULL REFERENCES "
         "queue_items(id) ON DELETE CASCADE, session_id TEXT, kind TEXT NOT NULL, message TEXT NOT NULL, "
         "metadata_json TEXT, created_at TEXT NOT NULL)",
         "CREATE TABLE settings (key TEXT PRIMARY KEY, value TEXT NOT NULL, updated_at TEXT NOT NULL)"});
}

void addIndexes(Statements& statements, const OlderLayout& layout) {
    add(statements, true,
        {"CREATE INDEX queue_items_status_idx ON queue_items(status)",
         "CREATE INDEX queue_items_position_idx ON queue_items(queue_position)"});
    add(statements, layout.itemsHaveQueueMode,
        {"CREATE INDEX queue_items_mode_position_idx ON queue_items(queue_mode, queue_position)"});
    add(statements, layout.itemsHaveConversation,
        {"CREATE INDEX queue_items_codex_session_idx ON queue_items(codex_session_id)"});
    add(statements, layout.hasAttempts,
        {"CREATE INDEX session_attempts_queue_item_idx ON session_attempts(queue_item_id)",
         "CREATE INDEX session_attempts_state_idx ON session_attempts(state)"});
    add(statements, layout.hasAttempts && layout.attemptsHaveConversation,
        {"CREATE INDEX session_attempts_codex_session_idx ON session_attempts(codex_session_id)"});
    add(statements, layout.hasEventsAndSettings,
        {"CREATE INDEX queue_events_item_idx ON queue_events(queue_item_id, created_at)"});
}

void addItems(Statements& statements, const OlderLayout& layout) {
    const std::string insert =
        "INSERT INTO queue_items (id, bug_id, app_id, app_name, bundle_id, title, bug_url, queue_position, "
        "status, priority, active_session_id, error_message, created_at, added_at, started_at, "
        "completed_at, cancelled_at) VALUES ";
    add(statements, true,
        {insert + "('I', '" + layout.firstBugID + "', 'A', 'Lantern', 'b', 'First', 'https://bugs.example/" +
             layout.firstBugID + "', 0, 'running', 1, 'S', NULL, 'c1', 'a1', 's1', NULL, NULL)",
         insert + "('J', '" + layout.secondBugID +
             "', 'A', 'Lantern', 'b', 'Second', 'https://bugs.example/" + layout.secondBugID +
             "', 4, 'failed', 0, NULL, 'went quiet', 'c2', 'a2', 's2', 'e2', 'x2')"});
    add(statements, layout.itemsHaveQueueMode, {"UPDATE queue_items SET queue_mode = 'manual'"});
    add(statements, layout.itemsHaveGoalFlow, {"UPDATE queue_items SET goal_flow = 'address_review'"});
    add(statements, layout.itemsHaveConversation, {"UPDATE queue_items SET codex_session_id = 'C'"});
}

void addAttempts(Statements& statements, const OlderLayout& layout) {
    const std::string insert =
        "INSERT INTO session_attempts (id, queue_item_id, attempt_number, bug_id, repo_path, "
        "agent_workspace_path, transcript_ansi_path, transcript_text_path, goal_text, completion_marker, "
        "pid, state, exit_code, started_at, last_output_at, ended_at, completion_comment_id, "
        "completion_comment_created_at) VALUES ";
    add(statements, true,
        {insert + "('T', 'I', 1, '" + layout.firstBugID +
             "', '/r', '/w', '/a', '/t', 'goal', 'marker', 7, 'failed', 3, 's1', 'l1', 'e1', 'M', 'm1')",
         insert + "('U', 'I', 2, '" + layout.firstBugID +
             "', '/r', NULL, '/a', '/t', 'goal', 'marker', NULL, 'created', NULL, 's2', NULL, NULL, NULL, "
             "NULL)",
         insert + "('V', 'J', 1, '" + layout.secondBugID +
             "', '/r', NULL, '/a', '/t', 'goal', 'marker', NULL, 'exited', 0, 's3', NULL, 'e3', NULL, NULL)"});
    add(statements, layout.attemptsHaveConversation, {"UPDATE session_attempts SET codex_session_id = 'C'"});
    add(statements, layout.attemptsHaveFailureReason,
        {"UPDATE session_attempts SET failure_reason = 'why' WHERE id = 'T'"});
}

void addRows(Statements& statements, const OlderLayout& layout) {
    add(statements, true,
        {"INSERT INTO app_mappings (bundle_id, app_id, app_name, repo_path, base_branch, codex_profile, "
         "created_at, updated_at) VALUES ('b', 'A', 'Lantern', '/r', 'trunk', 'careful', 'c', 'u')"});
    add(statements, layout.mappingsHaveWorktreeRoot, {"UPDATE app_mappings SET worktree_root_path = '/w'"});
    addItems(statements, layout);
    if (layout.hasAttempts) {
        addAttempts(statements, layout);
    }
    add(statements, layout.hasEventsAndSettings,
        {"INSERT INTO queue_events VALUES ('E', 'I', 'S', 'enqueued', 'Added.', '{}', 'c')",
         "INSERT INTO settings VALUES ('k', 'v', 'u')"});
}

OlderLayout oldestLayout(const std::string& name, const std::string& firstBugID,
                         const std::string& secondBugID) {
    return {.name = name,
            .mappingsHaveWorktreeRoot = false,
            .itemsHaveQueueMode = false,
            .itemsHaveConversation = false,
            .itemsHaveGoalFlow = false,
            .attemptsHaveConversation = false,
            .attemptsRequireAnItem = true,
            .hasEventsAndSettings = false,
            .hasIndexes = false,
            .firstBugID = firstBugID,
            .secondBugID = secondBugID};
}

}  // namespace

std::vector<std::string> statementsOf(const OlderLayout& layout) {
    Statements statements;
    addTables(statements, layout);
    if (layout.hasIndexes) {
        addIndexes(statements, layout);
    }
    addRows(statements, layout);
    return statements;
}

std::vector<OlderLayout> allOlderLayouts() {
    return {
        {.name = "Current"},
        {.name = "MappingsWithoutWorktreeRoot", .mappingsHaveWorktreeRoot = false},
        {.name = "ItemsWithoutQueueMode", .itemsHaveQueueMode = false},
        {.name = "ItemsWithoutConversation", .itemsHaveConversation = false},
        {.name = "ItemsWithoutGoalFlow", .itemsHaveGoalFlow = false},
        {.name = "WithoutAttempts", .hasAttempts = false},
        {.name = "AttemptsWithoutConversation", .attemptsHaveConversation = false},
        {.name = "AttemptsThatRequireAnItem", .attemptsRequireAnItem = true},
        {.name = "AttemptsThatRequireAnItemWithoutConversation",
         .attemptsHaveConversation = false,
         .attemptsRequireAnItem = true},
        {.name = "WithoutEventsAndSettings", .hasEventsAndSettings = false},
        {.name = "WithoutIndexes", .hasIndexes = false},
        oldestLayout("Oldest", "3f2a9c10", "ab1"),
        {.name = "LongBugIDs", .firstBugID = longBugID, .secondBugID = otherLongBugID},
        {.name = "CollidingBugIDs", .firstBugID = longBugID, .secondBugID = collidingBugID},
        oldestLayout("OldestWithLongBugIDs", longBugID, otherLongBugID),
        oldestLayout("OldestWithCollidingBugIDs", longBugID, collidingBugID),
    };
}

}  // namespace quernlight::test
