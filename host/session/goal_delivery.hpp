#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/agent/agent_reading.hpp"
#include "host/agent/goal_records.hpp"
#include "host/agent/session_event.hpp"

namespace quernlight::host {

/// A goal as it is typed: the command as keys, then the text in bracketed pastes, which the agent takes as
/// they are, whatever their timing.
struct GoalKeys {
    std::string command{};              ///< "/goal"
    std::vector<std::string> pastes{};  ///< at most `longestPaste` characters each
    std::string objective{};            ///< the text as the agent records it, without blanks at its ends

    /// Longer ones an agent keeps in a file, or shows as a placeholder.
    static constexpr std::size_t longestPaste = 700;
};

/// Only line feeds are left of the control characters of `goal`, which begins with its command.
GoalKeys goalKeys(std::string_view goal);

/// What is known of the agent at one look.
struct AgentSight {
    AgentReading screen{};
    GoalRecord record{};  ///< of the goal's text
};

/// Which questions the agent may come up with, and who answers them.
struct DialogRules {
    bool answersAboutGoals = true;  ///< else a person does
    bool resumes = false;           ///< a conversation, which may have a goal already
};

/// How long each step of a delivery may take. What waits for the agent has room for a busy machine.
struct GoalDeliveryTimes {
    std::chrono::milliseconds afterCommand{300};
    std::chrono::milliseconds betweenPastes{200};
    std::chrono::milliseconds beforeEnter{400};
    std::chrono::milliseconds beforeSecondEnter{3000};
    std::chrono::seconds untilTold{3};    ///< that there is no composer yet
    std::chrono::seconds starting{10};    ///< an agent may seem to start for ever, say when it sets no title
    std::chrono::seconds composer{60};    ///< until an agent that shows no dialog has one
    std::chrono::seconds echo{20};        ///< until what was typed shows
    std::chrono::seconds acceptance{20};  ///< after each Enter
};

/// What to do next for the goal.
struct KeepLooking {};

struct TypeKeys {
    std::string keys;
    bool areFirst = false;  ///< of the goal: from here on the agent may know of it
    bool areLast = false;   ///< the Enter that hands it over
};

/// Once: that the goal waits, and what stands on the screen in the composer's place.
struct TellWait {
    std::string sentence;
};

using DeliveryStep = std::variant<KeepLooking, TellWait, TypeKeys, GoalAccepted, GoalRefused>;

/// The delivery of one goal into the agent's composer, decided from what was seen: each step waits until the
/// one before it shows on the screen, so that nothing is typed into a dialog or twice, and the end is proved
/// by the agent's own records, or by its screen where it keeps none.
class GoalDelivery {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    GoalDelivery(GoalKeys goal, DialogRules dialogs, TimePoint now, GoalDeliveryTimes times = {});

    /// What to do at `now`; called again and again until the goal is accepted or refused. A refusal says in a
    /// sentence what was on the screen.
    DeliveryStep next(const AgentSight& seen, TimePoint now);

    /// Keys have been sent, which may have taken a while; the agent's time to show them begins now.
    void sent(TimePoint now);

    /// Somebody else types meanwhile, so no step was taken; the time for the next one begins now.
    void held(TimePoint now);

    /// The goal's first keys were not sent after all.
    void startAgain(TimePoint now);

    /// Whether the next step asks for the agent's records of goals.
    bool wantsRecord() const { return stage_ == Stage::commandTyped || stage_ == Stage::handedOver; }

  private:
    enum class Stage { awaitingComposer, commandTyped, pasting, pasted, handedOver };

    /// A key that was sent to a question.
    struct Answer {
        Dialog dialog;         // as it stood then
        bool isFinal = false;  // Enter, and no step towards an option
        TimePoint at;

        /// Whether it has had its effect: the selection has moved, or there is another question.
        bool showsOn(const Dialog& now) const;
    };

    DeliveryStep decide(const AgentSight& seen, TimePoint now);
    DeliveryStep answerQuestion(const AgentSight& seen, TimePoint now);
    DeliveryStep awaitComposer(const AgentSight& seen, TimePoint now);
    DeliveryStep checkCommand(const AgentSight& seen, TimePoint now);
    DeliveryStep paste(const AgentSight& seen, TimePoint now);
    DeliveryStep checkText(const AgentSight& seen, TimePoint now);
    DeliveryStep checkAcceptance(const AgentSight& seen, TimePoint now);
    DeliveryStep enter(TimePoint now);
    GoalAccepted accepted(TimePoint now) const;
    void reach(Stage stage, TimePoint now);

    const GoalKeys goal_;
    const DialogRules dialogs_;
    const GoalDeliveryTimes times_;
    Stage stage_ = Stage::awaitingComposer;
    const TimePoint begun_;
    TimePoint since_;      // of the stage
    TimePoint notBefore_;  // the next keys
    std::size_t pasted_ = 0;
    int enters_ = 0;
    int answers_ = 0;               // to questions
    std::optional<Answer> answer_;  // the last, until its question is seen to be gone
    bool isWaitTold_ = false;
    bool wouldPartBeNew_ = false;  // none was recorded before the goal was handed over
    bool wasDenied_ = false;       // the command, in what was on the screen before the goal was handed over
    bool wasSeenAtWork_ = false;   // since it was handed the goal, with nothing left in its composer
};

/// The keys that answer a dialog about goals, one step at a time: the old goal gives way to the new one, and
/// a paused one stays so. Nothing for any other dialog.
std::optional<std::string> dialogAnswer(const Dialog& dialog);

}  // namespace quernlight::host
