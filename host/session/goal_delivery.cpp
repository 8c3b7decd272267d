#include "host/session/goal_delivery.hpp"

#include <algorithm>
#include <utility>

#include "host/text/terminal_text.hpp"
#include "quernlight/platform/text.hpp"
#include "quernlight/runner/terminal_input.hpp"

namespace quernlight::host {
namespace {

constexpr std::string_view pasteBegins = "\x1b[200~";
constexpr std::string_view pasteEnds = "\x1b[201~";
constexpr std::string_view enterKey = "\n";  // as the runner takes it
constexpr std::string_view downKey = "\x1b[B";
constexpr std::string_view upKey = "\x1b[A";
constexpr int mostAnswers = 10;
constexpr std::size_t longestQuestion = 300;  // in characters

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// The bytes of the first so many characters.
std::size_t sizeOfCharacters(std::string_view text, std::size_t count) {
    std::size_t size = 0;
    while (size < text.size() && (continuesCharacter(text[size]) || count-- > 0)) {
        ++size;
    }
    return size;
}

/// The composer shows all of the goal, or so much of its end as there is room for.
bool holds(const AgentReading& screen, const GoalKeys& goal) {
    if (!screen.composer) {
        return false;
    }
    const ComposerContent content = composerContent(*screen.composer, goal.command + goal.objective);
    const bool isFromTheTop = 4 * static_cast<std::size_t>(screen.composer->row) <= screen.lines.size();
    return content == ComposerContent::whole || (content == ComposerContent::end && isFromTheTop);
}

std::string onScreen(const AgentReading& screen) {
    return screen.summary.empty() ? "; its screen is empty." : "; its screen shows: " + screen.summary;
}

GoalRefused refused(std::string sentence, const AgentReading& screen) {
    return {.reason = std::move(sentence) + onScreen(screen)};
}

GoalRefused unanswerable(const Dialog& dialog, const AgentReading& screen) {
    const std::string question(firstCharacters(withoutControls(dialog.question), longestQuestion));
    return refused("The agent asks (" + std::string(nameOf(dialog.kind)) +
                       ") and does not go on though it was answered: " + question,
                   screen);
}

GoalRefused unable(const GoalKeys& goal) {
    return {.reason = "The agent knows no command " + goal.command +
                      ", so it cannot be given a goal; use a newer release.",
            .isAgentUnable = true};
}

std::vector<std::string_view> textsOf(const std::vector<DialogOption>& options) {
    std::vector<std::string_view> texts;
    for (const DialogOption& option : options) {
        texts.push_back(option.text);
    }
    return texts;
}

/// One key nearer to the option, or Enter on it.
std::string keysTowards(std::size_t option, std::size_t selected) {
    return std::string(option == selected ? enterKey : option > selected ? downKey : upKey);
}

std::optional<std::size_t> firstOption(const Dialog& dialog, const auto& fits) {
    const auto option = std::ranges::find_if(dialog.options, fits);
    return option == dialog.options.end()
               ? std::nullopt
               : std::optional(static_cast<std::size_t>(option - dialog.options.begin()));
}

}  // namespace

GoalKeys goalKeys(std::string_view goal) {
    const std::string typeable = typeableText(goal);
    const std::size_t end = std::min(typeable.find_first_of(" \n"), typeable.size());
    GoalKeys keys{.command = typeable.substr(0, end),
                  .objective = std::string(trimmed(typeable.substr(end)))};
    for (std::string_view rest = keys.objective; !rest.empty();) {
        const std::size_t size = sizeOfCharacters(rest, GoalKeys::longestPaste);
        keys.pastes.emplace_back(rest.substr(0, size));
        rest.remove_prefix(size);
    }
    return keys;
}

GoalDelivery::GoalDelivery(GoalKeys goal, DialogRules dialogs, TimePoint now, GoalDeliveryTimes times)
    : goal_(std::move(goal)), dialogs_(dialogs), times_(times), begun_(now), since_(now), notBefore_(now) {}

DeliveryStep GoalDelivery::next(const AgentSight& seen, TimePoint now) {
    DeliveryStep step = decide(seen, now);
    const bool waits =
        stage_ == Stage::awaitingComposer && std::holds_alternative<KeepLooking>(step) && !isWaitTold_;
    if (!waits || now - begun_ < times_.untilTold) {
        return step;
    }
    isWaitTold_ = true;
    return TellWait{.sentence = "Waiting for the agent's composer" + onScreen(seen.screen)};
}

DeliveryStep GoalDelivery::decide(const AgentSight& seen, TimePoint now) {
    if (seen.record.match == GoalMatch::whole) {
        return accepted(now);
    }
    if (seen.screen.activity.state == AgentState::dialog) {
        return answerQuestion(seen, now);
    }
    if (seen.screen.activity.state != AgentState::unknown) {
        answer_.reset();
    }
    if (now < notBefore_) {
        return KeepLooking{};
    }
    switch (stage_) {
        case Stage::awaitingComposer:
            return awaitComposer(seen, now);
        case Stage::commandTyped:
            return checkCommand(seen, now);
        case Stage::pasting:
            return paste(seen, now);
        case Stage::pasted:
            return checkText(seen, now);
        case Stage::handedOver:
            break;
    }
    return checkAcceptance(seen, now);
}

/// A key that does not show yet may still be read, and then by whatever comes next.
DeliveryStep GoalDelivery::answerQuestion(const AgentSight& seen, TimePoint now) {
    since_ = now;
    const auto& dialog = seen.screen.activity.dialog;
    auto keys = dialogs_.answersAboutGoals && dialog ? dialogAnswer(*dialog) : std::nullopt;
    if (!keys) {
        return KeepLooking{};  // whoever watches the session tells a person
    }
    const bool awaitsEffect = answer_ && !answer_->showsOn(*dialog);
    if (awaitsEffect ? now - answer_->at < times_.echo : now < notBefore_) {
        return KeepLooking{};
    }
    if (awaitsEffect || answers_ == mostAnswers) {
        return unanswerable(*dialog, seen.screen);
    }
    ++answers_;
    notBefore_ = now + times_.beforeEnter;
    answer_ = Answer{.dialog = *dialog, .isFinal = *keys == enterKey, .at = now};
    return TypeKeys{.keys = std::move(*keys)};
}

bool GoalDelivery::Answer::showsOn(const Dialog& now) const {
    const bool isSame = now.kind == dialog.kind && textsOf(now.options) == textsOf(dialog.options);
    return !isSame || (!isFinal && now.options != dialog.options);
}

DeliveryStep GoalDelivery::awaitComposer(const AgentSight& seen, TimePoint now) {
    const bool isEmpty = seen.screen.isComposerEmpty();
    const bool isStarting =
        seen.screen.activity.state == AgentState::starting && now - since_ < times_.starting;
    if (isEmpty && !isStarting && seen.screen.bracketedPaste) {
        reach(Stage::commandTyped, now);
        return TypeKeys{.keys = goal_.command, .areFirst = true};
    }
    if (now - since_ < times_.composer) {
        return KeepLooking{};
    }
    if (isEmpty) {
        return GoalRefused{
            .reason =
                "The agent does not take pasted text (bracketed paste), so no goal can be typed to it; "
                "use a newer release.",
            .isAgentUnable = true};
    }
    return refused("The agent shows no empty composer to type the goal into", seen.screen);
}

/// An agent that knows the command offers it. Where nothing is seen of that, records of goals are reason
/// enough to try, though another release may have made them: what follows shows whether it takes the goal.
DeliveryStep GoalDelivery::checkCommand(const AgentSight& seen, TimePoint now) {
    const bool isThere = seen.screen.hasTyped(goal_.command);
    const bool isLate = now - since_ >= times_.echo;
    const bool keepsGoals = seen.record.match != GoalMatch::unknown;
    if (isThere && (seen.screen.offers(goal_.command) || (isLate && keepsGoals))) {
        wouldPartBeNew_ = seen.record.allRead && seen.record.match != GoalMatch::part;
        reach(Stage::pasting, now);
        notBefore_ = now + times_.afterCommand;
        return TypeKeys{.keys = " "};
    }
    if (!isLate) {
        return KeepLooking{};
    }
    return isThere ? unable(goal_)
                   : refused("What was typed does not stand in the agent's composer", seen.screen);
}

DeliveryStep GoalDelivery::paste(const AgentSight& seen, TimePoint now) {
    if (!seen.screen.composer || !seen.screen.bracketedPaste) {
        return now - since_ < times_.echo
                   ? DeliveryStep(KeepLooking{})
                   : refused("The agent's composer is gone while the goal is typed", seen.screen);
    }
    if (pasted_ == goal_.pastes.size()) {
        reach(Stage::pasted, now);
        notBefore_ = now + times_.beforeEnter - times_.betweenPastes;
        return KeepLooking{};
    }
    notBefore_ = now + times_.betweenPastes;
    std::string keys(pasteBegins);
    keys += goal_.pastes[pasted_++];
    keys += pasteEnds;
    return TypeKeys{.keys = std::move(keys)};
}

DeliveryStep GoalDelivery::checkText(const AgentSight& seen, TimePoint now) {
    if (holds(seen.screen, goal_)) {
        wasDenied_ = seen.screen.denies(goal_.command);
        return enter(now);
    }
    return now - since_ < times_.echo
               ? DeliveryStep(KeepLooking{})
               : refused("The goal does not stand whole in the agent's composer", seen.screen);
}

DeliveryStep GoalDelivery::enter(TimePoint now) {
    reach(Stage::handedOver, now);
    ++enters_;
    return TypeKeys{.keys = std::string(enterKey), .areLast = true};
}

/// Records that cannot be read are asked again and again; only in the end the screen tells in their place. A
/// second Enter may meet the question that the first one has brought up, so there is none where that question
/// is a person's.
DeliveryStep GoalDelivery::checkAcceptance(const AgentSight& seen, TimePoint now) {
    const auto& [match, allRead, status] = seen.record;
    if (match == GoalMatch::part && allRead && wouldPartBeNew_) {
        return refused("The agent took only a part of the goal", seen.screen);
    }
    if (!wasDenied_ && seen.screen.denies(goal_.command)) {
        return unable(goal_);
    }
    const bool isLate = now - since_ >= times_.acceptance;
    const bool isAtWork = seen.screen.activity.state == AgentState::working;
    wasSeenAtWork_ = wasSeenAtWork_ || (isAtWork && seen.screen.isComposerEmpty());
    const bool screenTells = allRead ? match == GoalMatch::unknown : isLate && match != GoalMatch::part;
    if (screenTells && wasSeenAtWork_) {
        return accepted(now);
    }
    const bool mayAnswerByIt = dialogs_.answersAboutGoals || !dialogs_.resumes;
    if (enters_ < 2 && mayAnswerByIt && now - since_ >= times_.beforeSecondEnter &&
        holds(seen.screen, goal_)) {
        return enter(now);
    }
    return isLate ? refused("The agent has not taken the goal", seen.screen) : DeliveryStep(KeepLooking{});
}

GoalAccepted GoalDelivery::accepted(TimePoint now) const {
    return {.after = std::chrono::duration_cast<std::chrono::milliseconds>(now - begun_)};
}

void GoalDelivery::sent(TimePoint now) {
    since_ = now;
    if (answer_) {
        answer_->at = now;
    }
}

void GoalDelivery::held(TimePoint now) {
    sent(now);
}

/// What has come between is told in its turn.
void GoalDelivery::startAgain(TimePoint now) {
    reach(Stage::awaitingComposer, now);
    isWaitTold_ = false;
}

void GoalDelivery::reach(Stage stage, TimePoint now) {
    stage_ = stage;
    since_ = now;
}

std::optional<std::string> dialogAnswer(const Dialog& dialog) {
    const std::string_view wanted = dialog.kind == DialogKind::replaceGoal  ? "replace"
                                    : dialog.kind == DialogKind::resumeGoal ? "leave"
                                                                            : "";
    const auto option = firstOption(dialog, [wanted](const DialogOption& known) {
        return !wanted.empty() && lowercased(known.text).starts_with(wanted);
    });
    const auto selected = firstOption(dialog, [](const DialogOption& known) { return known.isSelected; });
    return option && selected ? std::optional(keysTowards(*option, *selected)) : std::nullopt;
}

}  // namespace quernlight::host
