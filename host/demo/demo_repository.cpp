#include "host/demo/demo_repository.hpp"

#include <fstream>
#include <string>
#include <vector>

#include "host/demo/demo_bugs.hpp"
#include "host/process/user_error.hpp"
#include "host/worktree/git_time_limit.hpp"
#include "quernlight/git/git_runner.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

void write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    if (!stream.flush()) {
        throw UserError("The demo cannot write " + file.string() + "; free some disk space.");
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
    const GitRunner git = limitedGit({.name = "QUERNLIGHT_DISPATCH_DEMO", .value = "1"});
    const GitCommandResult result = co_await git(std::move(arguments));
    if (!result.succeeded()) {
        throw UserError("The demo's repository cannot be made; git says: " + result.output);
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

}  // namespace quernlight::host
