#include "standin/codex/behaviour.hpp"

#include <utility>

namespace quernlight::standin::codex {

std::optional<Behaviour> parseBehaviour(std::string_view name) {
    constexpr std::pair<std::string_view, Behaviour> names[] = {
        {"", Behaviour::obedient},   {"ask", Behaviour::ask},
        {"crash", Behaviour::crash}, {"silent-exit", Behaviour::silentExit},
        {"idle", Behaviour::idle},   {"ignore-exit", Behaviour::ignoreExit},
        {"flood", Behaviour::flood}, {"slow-start", Behaviour::slowStart},
    };
    for (const auto& [known, behaviour] : names) {
        if (known == name) {
            return behaviour;
        }
    }
    return std::nullopt;
}

}  // namespace quernlight::standin::codex
