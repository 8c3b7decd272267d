#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace quernlight::standin::codex {

/// How the agent conducts itself; the names in brackets are the values of STANDIN_CODEX and of the behaviours
/// in standin.json.
enum class Behaviour {
    obedient,         ///< does what the goal says, until the end (unset, empty or "obedient")
    ask,              ///< posts a question and changes nothing ("ask")
    crash,            ///< works a little, then dies of a signal ("crash")
    silentExit,       ///< works a little, then ends with status 0 and no word to the bug ("silent-exit")
    idle,             ///< takes the goal, then prints nothing any more ("idle")
    ignoreExit,       ///< does its work, then is deaf to "/exit" and to SIGINT ("ignore-exit")
    flood,            ///< prints tens of MiB while it works ("flood")
    slowStart,        ///< takes several seconds to its prompt ("slow-start")
    earlyExit,        ///< ends once its composer is shown; status 0, or N ("early-exit:N")
    exitWhileTyping,  ///< ends at the first keys; status 0, or N ("exit-while-typing:N")
    lateComposer,     ///< shows its composer N seconds late, or 5 ("late-composer:N")
    noGoal,           ///< has no command "/goal" and keeps no records of goals ("no-goal")
    resumeDies,       ///< ends with status 1 and words of its own when it is to resume ("resume-dies")
    usageLimit,       ///< takes the goal, then says that its use is limited, for N minutes where there is a
                      ///< number, and waits ("usage-limit:N")
    approval,         ///< takes the goal, then asks whether it may run a command before it works ("approval")
    fullScreen,  ///< takes the goal, then shows a full-screen program until "q" is pressed ("full-screen")
    approvalForEver,  ///< the same, and hears no answer ("approval-for-ever")
    login,            ///< is not logged in: shows a menu and nothing else ("login")
    resumeQuestion,   ///< asks, when it is to resume, whether it should go on with its goal
                      ///< ("resume-question")
};

/// A behaviour, and the number that stands behind its name.
struct Conduct {
    Behaviour behaviour = Behaviour::obedient;
    std::optional<int> number{};

    bool operator==(const Conduct&) const = default;
};

/// What the sessions on a bug do, one after the other; the last one counts for all that follow.
using Conducts = std::vector<Conduct>;

/// Reads "idle,resume-dies,late-composer:3". Nothing where a name is none, or has a number that it cannot
/// have.
std::optional<Conducts> parseConducts(std::string_view text);

/// That of the session with this number, which is 0 for the first.
Conduct conductOf(const Conducts& conducts, std::size_t session);

}  // namespace quernlight::standin::codex
