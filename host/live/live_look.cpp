#include "host/live/live_look.hpp"

#include <algorithm>

#include <boost/asio/error.hpp>
#include <boost/json/parse.hpp>
#include <boost/system/system_error.hpp>

#include "host/control/control_client.hpp"
#include "host/events/history_look.hpp"
#include "host/live/worktree_changes.hpp"
#include "host/process/user_error.hpp"
#include "host/text/failure_sentence.hpp"
#include "host/text/relative_time.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

constexpr std::size_t mostQuestionsAtOnce = 5;
constexpr std::chrono::seconds longestScreen{5};

std::vector<std::string> linesIn(std::string_view text) {
    std::vector<std::string> lines;
    for (const std::string_view line : linesOf(text)) {
        lines.emplace_back(line);
    }
    return lines;
}

/// In the end what is asked of a person, in whole.
std::vector<std::string> historyLines(const QueueItemDetails& details, Instant now) {
    std::vector<std::string> lines;
    for (const QueueEvent& event : details.history) {
        lines.push_back(localTime(event.createdAt, now, localOffset(now)) + "  " + event.message);
    }
    const std::string question = questionOf(details.history, details.stage);
    if (!question.empty() && details.history.back().message != question) {
        lines.push_back("Asks: " + question);
    }
    if (details.waits) {
        lines.push_back("Waits: " + sentenceOf(*details.waits));
    }
    return lines;
}

PaneText troubled(PaneText text, std::string sentence) {
    text.lines = {std::move(sentence)};
    text.isTrouble = true;
    return text;
}

bool isOutOfSight(const QueueEntry& entry) {
    return entry.stage == SessionStage::cancelled || entry.stage == SessionStage::superseded;
}

/// Its rows without blank ones at the end.
std::vector<std::string> screenLines(const std::string& body) {
    boost::system::error_code error;
    const json::value answer = json::parse(body, error);
    const json::object* object = error ? nullptr : answer.if_object();
    const json::value* screen = object ? object->if_contains("screen") : nullptr;
    const json::value* rows =
        screen && screen->is_object() ? screen->get_object().if_contains("lines") : nullptr;
    if (!rows || !rows->is_array()) {
        return {"The dispatcher answers in a form that is not known here."};
    }
    std::vector<std::string> lines;
    for (const json::value& row : rows->get_array()) {
        lines.emplace_back(row.is_string() ? std::string_view(row.get_string()) : "");
    }
    while (!lines.empty() && lines.back().empty()) {
        lines.pop_back();
    }
    return lines;
}

}  // namespace

/// The question that a bug waits with does not change; it is asked for once.
Task<void> LiveLook::askForQuestions(const std::vector<QueueEntry>& queue) {
    std::map<std::string, std::string> known;
    std::size_t asked = 0;
    for (const QueueEntry& entry : queue) {
        const std::string& bugID = entry.item.bugID;
        if (entry.stage != SessionStage::needsReply) {
            continue;
        }
        const auto before = questions_.find(bugID);
        if (before != questions_.end()) {
            known.insert(*before);
        } else if (asked++ < mostQuestionsAtOnce) {
            const QueueItemDetails details = co_await service_.queueItem(bugID);
            known[bugID] = questionOf(details.history, details.stage);
        }
    }
    questions_ = std::move(known);
}

Task<LiveAnswers> LiveLook::answers() {
    LiveAnswers answers;
    answers.health = co_await service_.health();
    QueueList queue = co_await service_.queue();
    answers.queue = std::move(queue.entries);
    answers.sessions = co_await service_.sessions();
    if (std::ranges::all_of(answers.queue, isOutOfSight)) {
        const auto mappings = co_await service_.mappings();
        answers.mappings = mappings.size();
    }
    co_await askForQuestions(answers.queue);
    answers.questions = questions_;
    co_return answers;
}

Task<std::vector<std::string>> LiveLook::changes(QueueItemDetails details) {
    if (details.attempts.empty() || !details.attempts.back().agentWorkspacePath) {
        throw UserError("It has no worktree yet.");
    }
    const auto mappings = co_await service_.mappings();
    const auto mapping = std::ranges::find(mappings, details.item.bundleID, &AppMapping::bundleID);
    if (mapping == mappings.end()) {
        throw UserError("Its app is not mapped any more.");
    }
    ChangedWorktree place{.worktree = *details.attempts.back().agentWorkspacePath,
                          .repository = mapping->repoPath,
                          .baseBranch = mapping->baseBranch};
    Task<std::vector<std::string>> reading = changesIn(home_, std::move(place));
    co_return co_await std::move(reading);
}

Task<std::vector<std::string>> LiveLook::screen(std::string bugID) {
    const std::vector<std::string> segments{"v1", "sessions", std::move(bugID), "screen"};
    ControlRequest request{.target = controlTarget(segments)};
    const ControlResponse response = co_await askOwner(home_, std::move(request), longestScreen);
    if (const auto refusal = problemOf(response)) {
        throw UserError(refusal->detail);
    }
    co_return screenLines(response.body);
}

Task<std::vector<std::string>> LiveLook::lines(std::string bugID, LivePane pane) {
    if (pane == LivePane::terminal) {
        co_return co_await screen(std::move(bugID));
    }
    QueueItemDetails details = co_await service_.queueItem(std::move(bugID));
    if (pane == LivePane::events) {
        co_return historyLines(details, clock_.now());
    }
    if (pane == LivePane::diff) {
        co_return co_await changes(std::move(details));
    }
    if (details.attempts.empty()) {
        throw UserError("It was given no goal yet.");
    }
    co_return linesIn(details.attempts.back().goalText);
}

Task<PaneText> LiveLook::pane(std::string bugID, LivePane pane) {
    PaneText text{.bugID = bugID, .pane = pane};
    try {
        text.lines = co_await lines(std::move(bugID), pane);
    } catch (const boost::system::system_error& error) {
        if (error.code() == boost::asio::error::operation_aborted) {
            throw;
        }
        text = troubled(std::move(text), failureSentence(error));
    } catch (const OwnerNotRunning&) {
        text = troubled(std::move(text), "No dispatcher runs, so no agent does.");
    } catch (const std::exception& error) {
        text = troubled(std::move(text), failureSentence(error));
    }
    co_return text;
}

}  // namespace quernlight::host
