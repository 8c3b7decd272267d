#include "demo/samples.hpp"

#include <fstream>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "host/process/user_error.hpp"
#include "host/worktree/git_time_limit.hpp"
#include "quernlight/git/git_runner.hpp"
#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/platform/identifiers.hpp"

namespace quernlight::demo {
namespace fs = std::filesystem;
namespace json = boost::json;
namespace {

json::object seedOf(const DemoBug& bug) {
    json::object seed{{"id", bug.id}, {"title", bug.title}, {"bundle_id", demoBundleID}};
    if (!bug.description.empty()) {
        seed["description"] = bug.description;
    }
    if (bug.outcome == ExpectedOutcome::followedUp) {
        seed["status"] = "in_review";
        seed["pr_url"] = demoPullRequestURL;
    }
    return seed;
}

void write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    if (!stream.flush()) {
        throw host::UserError("The demo cannot write " + file.string() + "; free some disk space.");
    }
}

/// A value of git's configuration: quoted for git's own syntax.
std::string quoted(const std::string& value) {
    std::string text = "\"";
    for (const char character : value) {
        if (character == '"' || character == '\\') {
            text += '\\';
        }
        text += character;
    }
    return text + "\"";
}

/// One word for the shell that git hands `core.sshCommand` to.
std::string shellWord(const std::string& word) {
    std::string text = "'";
    for (const char character : word) {
        text += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return text + "'";
}

std::string gitConfiguration(const DemoDirectory& directory, const StandInPrograms& programs) {
    const std::string transport =
        shellWord(programs.gitTransport.string()) + " " + shellWord(directory.remotes().string());
    return "[user]\n\tname = Quernlight Demo\n\temail = demo@example.invalid\n"
           "[init]\n\tdefaultBranch = main\n"
           "[gc]\n\tauto = 0\n"
           "[maintenance]\n\tauto = false\n"
           "[ssh]\n\tvariant = simple\n"
           "[core]\n\tsshCommand = " +
           quoted(transport) + "\n";
}

Task<void> git(std::vector<std::string> arguments) {
    const GitRunner git = host::limitedGit({.name = "QUERNLIGHT_DISPATCH_DEMO", .value = "1"});
    const GitCommandResult result = co_await git(std::move(arguments));
    if (!result.succeeded()) {
        throw host::UserError("The demo's repository cannot be made; git says: " + result.output);
    }
}

using Commands = std::vector<std::vector<std::string>>;

Task<void> runAll(Commands commands) {
    for (std::vector<std::string>& command : commands) {
        co_await git(std::move(command));
    }
}

Commands firstCommit(const std::string& bare, const std::string& checkout) {
    return {{"-C", checkout, "init", "--quiet"},
            {"init", "--quiet", "--bare", bare},
            {"-C", checkout, "remote", "add", "origin", "git@git.example:acme/notes.git"},
            {"-C", checkout, "add", "."},
            {"-C", checkout, "commit", "--quiet", "--message", "Notes, as released"},
            {"-C", checkout, "push", "--quiet", "origin", "main"}};
}

Commands pullRequest(const std::string& checkout, const std::string& branch) {
    return {{"-C", checkout, "checkout", "--quiet", "-b", branch},
            {"-C", checkout, "add", "."},
            {"-C", checkout, "commit", "--quiet", "--message", "Fold accents before searching"},
            {"-C", checkout, "push", "--quiet", "origin", branch, "HEAD:refs/pull/1/head"},
            {"-C", checkout, "checkout", "--quiet", "main"}};
}

}  // namespace

std::string DemoBug::shortID() const {
    return BugID::normalized(id);
}

std::string DemoBug::branch() const {
    return WorktreeNaming::branchName(demoAppName, id);
}

const std::vector<DemoBug>& demoBugs() {
    static const std::vector<DemoBug> bugs{
        {.id = "7C41E0AB-52D6-4B0F-9A63-1D0C5E2F8A01",
         .title = "Saving an empty note crashes",
         .description =
             "Open Notes, press New, press Save without typing. Expected: nothing is saved. Seen: crash.",
         .outcome = ExpectedOutcome::fixed},
        {.id = "2E9B6D14-07C3-4F58-8B1E-6A4D93C7F502",
         .title = "Search misses accented words",
         .description = "Searching for \"resume\" does not find a note that says \"résumé\".",
         .outcome = ExpectedOutcome::followedUp},
        {.id = "B05D83F7-91EA-4C26-A7D4-38E1C60B2F03",
         .title = "It does not work",
         .description = "",
         .outcome = ExpectedOutcome::asked},
    };
    return bugs;
}

std::string demoSeed() {
    json::array bugs;
    for (const DemoBug& bug : demoBugs()) {
        bugs.push_back(seedOf(bug));
    }
    const json::object app{{"bundle_id", demoBundleID}, {"name", demoAppName}};
    const json::object wish{{"bug_id", demoBugs()[1].id},
                            {"author_type", "user"},
                            {"body", "Good, but please cover upper-case letters as well."}};
    return json::serialize(
        json::object{{"apps", json::array{app}}, {"bugs", std::move(bugs)}, {"comments", json::array{wish}}});
}

Task<void> makeDemoRepository(const DemoDirectory& directory, const StandInPrograms& programs) {
    const std::string checkout = directory.checkout().string();
    write(directory.userHome() / ".gitconfig", gitConfiguration(directory, programs));
    write(directory.checkout() / "README.md", "# Notes\n\nKeeps notes and finds them again.\n");
    write(directory.checkout() / "notes" / "save.txt", "save: write the note's text to the file\n");
    write(directory.checkout() / "notes" / "search.txt", "search: compare the words of every note\n");
    co_await runAll(firstCommit(directory.bareRepository().string(), checkout));
    write(directory.checkout() / "notes" / "search.txt",
          "search: fold accents, then compare the words of every note\n");
    co_await runAll(pullRequest(checkout, demoBugs()[1].branch()));
}

}  // namespace quernlight::demo
