#include "standin/codex/behaviour.hpp"

#include <algorithm>
#include <charconv>

namespace quernlight::standin::codex {
namespace {

struct Known {
    std::string_view name;
    Behaviour behaviour;
    bool takesNumber = false;
};

constexpr Known known[] = {
    {"", Behaviour::obedient},
    {"obedient", Behaviour::obedient},
    {"ask", Behaviour::ask},
    {"crash", Behaviour::crash},
    {"silent-exit", Behaviour::silentExit},
    {"idle", Behaviour::idle},
    {"ignore-exit", Behaviour::ignoreExit},
    {"flood", Behaviour::flood},
    {"slow-start", Behaviour::slowStart},
    {"early-exit", Behaviour::earlyExit, true},
    {"exit-while-typing", Behaviour::exitWhileTyping, true},
    {"late-composer", Behaviour::lateComposer, true},
    {"no-goal", Behaviour::noGoal},
    {"resume-dies", Behaviour::resumeDies},
    {"usage-limit", Behaviour::usageLimit, true},
    {"approval", Behaviour::approval},
    {"full-screen", Behaviour::fullScreen},
    {"approval-for-ever", Behaviour::approvalForEver},
    {"login", Behaviour::login},
    {"resume-question", Behaviour::resumeQuestion},
};

std::optional<int> parseNumber(std::string_view text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isWhole = error == std::errc() && end == text.data() + text.size() && number >= 0;
    return isWhole ? std::optional(number) : std::nullopt;
}

std::optional<Conduct> parseConduct(std::string_view text) {
    const std::size_t colon = text.find(':');
    const auto* found = std::find_if(std::begin(known), std::end(known),
                                     [&](const Known& one) { return one.name == text.substr(0, colon); });
    if (found == std::end(known)) {
        return std::nullopt;
    }
    if (colon == text.npos) {
        return Conduct{.behaviour = found->behaviour};
    }
    const auto number = parseNumber(text.substr(colon + 1));
    return found->takesNumber && number
               ? std::optional(Conduct{.behaviour = found->behaviour, .number = number})
               : std::nullopt;
}

}  // namespace

std::optional<Conducts> parseConducts(std::string_view text) {
    Conducts conducts;
    while (true) {
        const std::size_t comma = text.find(',');
        const auto conduct = parseConduct(text.substr(0, comma));
        if (!conduct) {
            return std::nullopt;
        }
        conducts.push_back(*conduct);
        if (comma == text.npos) {
            return conducts;
        }
        text.remove_prefix(comma + 1);
    }
}

Conduct conductOf(const Conducts& conducts, std::size_t session) {
    return conducts.empty() ? Conduct() : conducts[std::min(session, conducts.size() - 1)];
}

}  // namespace quernlight::standin::codex
