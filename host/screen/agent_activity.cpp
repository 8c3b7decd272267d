#include "host/screen/agent_activity.hpp"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "host/screen/composer.hpp"
#include "host/screen/screen_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

/// What a rule found; nothing when it does not apply.
using Finding = std::optional<std::string>;

struct Rule {
    std::string_view name;
    AgentState state;
    Finding (*look)(const ScreenPicture&);
};

/// The row behind what the agent has told: that of the composer, or the screen's end.
int endOfHistory(const ScreenPicture& picture) {
    const auto composer = composerOn(picture);
    return composer ? composer->row : picture.rows;
}

/// The lines above the composer, whose text may hold anything.
std::span<const std::string> historyOf(const ScreenPicture& picture) {
    return std::span(picture.lines).first(static_cast<std::size_t>(endOfHistory(picture)));
}

Finding findOptions(const ScreenPicture& picture) {
    const auto dialog = dialogOn(picture);
    if (!dialog) {
        return std::nullopt;
    }
    return std::string(nameOf(dialog->kind)) + " (" + dialog->reason + ")";
}

/// "[ ! ] Action Required": the mark blinks.
Finding findTitleThatAsks(const ScreenPicture& picture) {
    const bool asks = picture.title.starts_with("[") && holdsAnyOf(picture.title, {"action required"});
    return asks ? Finding("title \"" + picture.title + "\"") : std::nullopt;
}

std::optional<Dialog> dialogIn(const ScreenPicture& picture) {
    auto dialog = dialogOn(picture);
    const auto question = dialog ? std::nullopt : questionOfAnswerField(picture);
    return question ? Dialog{.kind = DialogKind::unknown, .question = *question} : std::move(dialog);
}

Finding findAnswerField(const ScreenPicture& picture) {
    const auto question = questionOfAnswerField(picture);
    return question ? Finding("a field for an answer to: " + *question) : std::nullopt;
}

Finding findSpinner(const ScreenPicture& picture) {
    const std::u32string title = columnsOf(picture.title);
    const bool isBraille = !title.empty() && title.front() >= 0x2800 && title.front() <= 0x28FF;
    return isBraille ? Finding("title \"" + picture.title + "\"") : std::nullopt;
}

/// What is drawn right above the composer: the last three groups of lines. Further up may stand what the
/// agent has printed, whatever that says.
std::span<const std::string> aboveComposer(const ScreenPicture& picture) {
    const auto history = historyOf(picture);
    std::size_t begin = history.size();
    for (int groups = 0; groups < 3 && begin > 0; ++groups) {
        while (begin > 0 && trimmed(history[begin - 1]).empty()) {
            --begin;
        }
        while (begin > 0 && !trimmed(history[begin - 1]).empty()) {
            --begin;
        }
    }
    return history.subspan(begin);
}

Finding findInterruptHint(const ScreenPicture& picture) {
    for (const std::string& line : aboveComposer(picture)) {
        if (holdsAnyOf(line, {"esc to interrupt", "ctrl+c to interrupt", "ctrl + c to interrupt"})) {
            return std::string(trimmed(line));
        }
    }
    return std::nullopt;
}

/// "loading" alone in its place, as of a model or a directory that is not known yet.
Finding findLoading(const ScreenPicture& picture) {
    constexpr std::string_view word = "  loading";
    for (const std::string& line : historyOf(picture)) {
        const std::string text = lowercased(line);
        const std::size_t at = text.find(word);
        const std::string_view behind =
            at == text.npos ? "." : std::string_view(text).substr(at + word.size());
        if (behind.empty() || behind.starts_with("  ") || behind.starts_with("…")) {
            return std::string(trimmed(line));
        }
    }
    return std::nullopt;
}

/// An agent names its folder in the title once it knows what it works with. Before that it shows a composer,
/// too, and a dialog may still cover it.
Finding findNoTitle(const ScreenPicture& picture) {
    return picture.title.empty() && composerOn(picture) ? Finding("a composer, but no title") : std::nullopt;
}

Finding findComposer(const ScreenPicture& picture) {
    const auto composer = composerOn(picture);
    if (!composer) {
        return std::nullopt;
    }
    return "row " + std::to_string(composer->row + 1) + (composer->text.empty() ? ", empty" : ", with text");
}

constexpr std::array rules{
    Rule{"options", AgentState::dialog, findOptions},
    Rule{"title that asks", AgentState::dialog, findTitleThatAsks},
    Rule{"answer field", AgentState::dialog, findAnswerField},
    Rule{"spinner in the title", AgentState::working, findSpinner},
    Rule{"hint how to interrupt", AgentState::working, findInterruptHint},
    Rule{"loading", AgentState::starting, findLoading},
    Rule{"no title yet", AgentState::starting, findNoTitle},
    Rule{"composer", AgentState::idle, findComposer},
};

}  // namespace

std::string_view nameOf(AgentState state) {
    constexpr std::array<std::string_view, 5> names{"unknown", "dialog", "working", "starting", "idle"};
    return names.at(static_cast<std::size_t>(state));
}

AgentActivity agentActivity(const ScreenPicture& picture) {
    for (const Rule& rule : rules) {
        if (Finding finding = rule.look(picture)) {
            return {.state = rule.state,
                    .rule = rule.name,
                    .reason = std::move(*finding),
                    .dialog = rule.state == AgentState::dialog ? dialogIn(picture) : std::nullopt};
        }
    }
    return {.rule = "none", .reason = "nothing that is known is on the screen"};
}

std::vector<std::string> explainActivity(const ScreenPicture& picture) {
    std::vector<std::string> lines;
    for (const Rule& rule : rules) {
        lines.push_back(std::string(rule.name) + ": " + rule.look(picture).value_or("no"));
    }
    return lines;
}

std::optional<std::string> reconnection(const ScreenPicture& picture) {
    const Finding hint = findInterruptHint(picture);
    if (!hint || !holdsAnyOf(*hint, {"reconnecting", "waiting for network"})) {
        return std::nullopt;
    }
    const auto isOfMark = [](char byte) { return static_cast<unsigned char>(byte) >= 0x80 || byte == ' '; };
    const auto words = std::ranges::find_if_not(*hint, isOfMark);  // the mark before them blinks
    return std::string(trimmed(std::string(words, std::ranges::find(words, hint->end(), '('))));
}

std::optional<std::string> lastNotice(const ScreenPicture& picture) {
    int row = endOfHistory(picture) - 1;
    const auto lineAt = [&](int at) {
        return std::string(trimmed(picture.lines[static_cast<std::size_t>(at)]));
    };
    while (row >= 0 && lineAt(row).empty()) {
        --row;
    }
    std::string notice;
    for (; row >= 0 && !lineAt(row).empty(); --row) {
        const std::string line = lineAt(row);
        notice = notice.empty() ? line : line + " " + notice;
        if (line.starts_with("■")) {
            return std::string(trimmed(std::string_view(notice).substr(std::string_view("■").size())));
        }
    }
    return std::nullopt;
}

}  // namespace quernlight::host
