#include <memory>

#include <CLI/CLI.hpp>

#include "host/commands/backend_call.hpp"
#include "host/commands/command_line.hpp"
#include "host/commands/command_output.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/events/session_stage.hpp"
#include "host/process/user_error.hpp"
#include "host/text/terminal_text.hpp"
#include "host/tools/bug_json.hpp"

namespace quernlight::host {
namespace {

struct AnswerOptions {
    BackendChoice backend{};
    std::string bugID{};
    std::string text{};
    bool json = false;
};

/// A question in the agent's terminal is not answered by a comment.
void requireQuestion(const BugQueueItem& item, SessionStage stage) {
    if (stage == SessionStage::needsPerson) {
        throw UserError("Bug " + item.bugID +
                        "'s agent asks in its terminal, where a comment does not reach it; see: "
                        "quernlight-dispatch sessions attach " +
                        item.bugID);
    }
    if (stage != SessionStage::needsReply) {
        throw UserError("Bug " + item.bugID + " (" + std::string(statusText(stage)) +
                        ") waits for no answer; to comment on it all the same: quernlight-dispatch bugs "
                        "comment " +
                        item.bugID + " TEXT");
    }
}

Task<void> answer(DispatchService& service, AnswerOptions given) {
    const QueueItemDetails details = co_await service.queueItem(std::move(given.bugID));
    requireQuestion(details.item, details.stage);
    BugComment comment{.bugID = details.item.bugID, .body = std::move(given.text)};
    const QLCommentDTO posted = co_await service.comment(std::move(comment));
    CommandOutput output;
    if (given.json) {
        co_return output.printJson(shownComment(posted));
    }
    output.print(withoutControls("The answer is on bug " + details.item.bugID +
                                 "; it is worked on again once the dispatcher has seen it.") +
                 "\n");
}

int answerBug(const AnswerOptions& given) {
    const auto service = serviceWithBackend(given.backend);
    return statusOf(answer(*service, given));
}

}  // namespace

void addAnswerCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<AnswerOptions>();
    CLI::App* app = program.add_subcommand("answer", "Answer the question that a bug's agent has asked");
    addBugOption(*app, options->bugID);
    app->add_option("text", options->text, "The answer")->required();
    app->add_flag("--json", options->json, "Print the comment, as JSON");
    addBackendOptions(*app, options->backend);
    app->callback([options, &chosen] { chosen = [options] { return answerBug(*options); }; });
}

}  // namespace quernlight::host
