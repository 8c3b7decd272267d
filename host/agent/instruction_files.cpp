#include "host/agent/instruction_files.hpp"

#include <fstream>
#include <string_view>
#include <system_error>

#include "host/process/private_files.hpp"
#include "host/process/user_error.hpp"

namespace quernlight::host {
namespace {

constexpr std::string_view investigationText =
    R"(# How to investigate a bug

1. Load the whole bug with `get_bug`: description, comments, attachments, logs and metadata.
2. Write down in one sentence what the user did, what they expected and what happened.
3. The report has sufficient information when that sentence has no gap that you cannot close from the logs,
   the attachments or the code. When it has one, ask: post a comment with the one question that closes it, as
   completion.md describes, with the status "investigate", and stop.
4. Otherwise name the code you suspect, and why, before you change anything.
)";

constexpr std::string_view reproductionText =
    R"(# How to reproduce a bug

1. Build the base branch as its README says, in the worktree, without your changes.
2. Follow the report's steps with the report's data. Prefer a failing automated test to a manual one.
3. Keep what shows the bug (the test, a recording, a log); the same steps must show the fix later.
4. When it does not reproduce, vary one thing at a time: version, settings, data, timing. Say what you tried.
)";

constexpr std::string_view completionText =
    R"(# How to report completion

Post one comment on the bug with the tool `create_comment` of the server `quernlight`, as the last thing you do:

- bug_id: the bug
- body: the root cause in one or two sentences, what was changed, and how it was shown to work
- status: "in_review" when the work is in a pull request, "investigate" when the user must answer a question
- pr_url: the pull request, when there is one
- metadata: queue_item_id and session_id, exactly as the goal gives them
- attachments: the paths of the recordings or logs that show it, when there are any; they must lie in the worktree

A call that fails says why; do what it says. The same call twice posts one comment.
The dispatcher ends the session when it sees this comment. Nothing done after it is kept.
)";

std::filesystem::path writeIfMissing(const std::filesystem::path& file, std::string_view text) {
    if (std::filesystem::exists(file)) {
        return file;
    }
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    if (!stream.flush()) {
        throw UserError("The instructions " + file.string() +
                        " cannot be written; check the directory's permissions or free some disk space.");
    }
    return file;
}

}  // namespace

InstructionFiles InstructionFiles::prepare(const std::filesystem::path& home) {
    const std::filesystem::path directory = home / "instructions";
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    InstructionFiles files{.investigation = writeIfMissing(directory / "investigation.md", investigationText),
                           .reproduction = writeIfMissing(directory / "reproduction.md", reproductionText),
                           .completion = writeIfMissing(directory / "completion.md", completionText)};
    protectTree(directory);
    return files;
}

}  // namespace quernlight::host
