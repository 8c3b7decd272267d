#pragma once

#include <optional>
#include <string_view>

namespace quernlight::standin::codex {

/// How the agent conducts itself; the names in brackets are the values of STANDIN_CODEX.
enum class Behaviour {
    obedient,    ///< does what the goal says, until the end (unset or empty)
    ask,         ///< posts a question and changes nothing ("ask")
    crash,       ///< works a little, then dies of a signal ("crash")
    silentExit,  ///< works a little, then ends with status 0 and no word to the bug ("silent-exit")
    idle,        ///< takes the goal, then prints nothing any more ("idle")
    ignoreExit,  ///< does its work, then is deaf to "/exit" and to SIGINT ("ignore-exit")
    flood,       ///< prints tens of MiB while it works ("flood")
    slowStart,   ///< takes several seconds to its prompt ("slow-start")
};

/// Nothing for a name that no behaviour has.
std::optional<Behaviour> parseBehaviour(std::string_view name);

}  // namespace quernlight::standin::codex
