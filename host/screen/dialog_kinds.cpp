#include "host/screen/dialog_kinds.hpp"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <iterator>
#include <string_view>

#include "host/screen/screen_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

using Lines = std::vector<std::string>;
using Beginnings = std::initializer_list<std::string_view>;

/// In lower case, without a mark such as a star at the beginning.
std::string comparable(std::string_view line) {
    constexpr auto isOfMark = [](char byte) {
        return static_cast<unsigned char>(byte) >= 0x80 || byte == ' ';
    };
    const auto* begin = std::find_if_not(line.begin(), line.end(), isOfMark);
    return lowercased(line.substr(static_cast<std::size_t>(begin - line.begin())));
}

bool begins(const std::string& line, Beginnings beginnings) {
    return std::ranges::any_of(beginnings, [&](std::string_view known) { return line.starts_with(known); });
}

bool anyBegins(const Lines& lines, Beginnings beginnings) {
    return std::ranges::any_of(lines, [&](const std::string& line) { return begins(line, beginnings); });
}

bool allBegin(const Lines& lines, Beginnings beginnings) {
    return std::ranges::all_of(lines, [&](const std::string& line) { return begins(line, beginnings); });
}

/// A line that begins so and asks about a goal: a goal's own text stands on others.
bool asksAboutGoal(const Lines& question, Beginnings beginnings) {
    return std::ranges::any_of(question, [&](const std::string& line) {
        return begins(line, beginnings) && line.find("goal?") != line.npos;
    });
}

struct Words {
    DialogKind kind;
    std::string_view reason;
    bool (*match)(const Lines& question, const Lines& options);
};

/// The first that matches tells the kind. The goal may be repeated between title and options, in more rows
/// than are looked at, so that options that name a goal are enough.
constexpr std::array kinds{
    Words{DialogKind::approval, "an option allows something",
          [](const Lines&, const Lines& options) {
              return anyBegins(
                  options, {"allow", "always allow", "approve", "yes, allow", "yes, proceed", "yes, and don",
                            "yes, run", "run ", "accept", "decline", "deny", "reject", "no, and tell"});
          }},
    Words{DialogKind::approval, "the question asks to run or change something",
          [](const Lines& question, const Lines& options) {
              const Lines first(question.begin(), question.begin() + (question.empty() ? 0 : 1));
              return anyBegins(first, {"would you like to", "do you want to", "allow", "approve"}) ||
                     (anyBegins(options, {"yes", "ok"}) &&
                      anyBegins(question,
                                {"would you like to", "do you want to", "allow ", "approve", "$ "}));
          }},
    Words{DialogKind::replaceGoal, "an option replaces the goal",
          [](const Lines& question, const Lines& options) {
              const bool isOfGoal = asksAboutGoal(question, {"replace"}) ||
                                    anyBegins(options, {"replace goal", "replace current goal"});
              return isOfGoal && anyBegins(options, {"replace"}) &&
                     allBegin(options, {"replace", "cancel", "keep"});
          }},
    Words{DialogKind::resumeGoal, "an option resumes the goal",
          [](const Lines& question, const Lines& options) {
              const bool isOfGoal = asksAboutGoal(question, {"resume", "continue", "go on"}) ||
                                    anyBegins(options, {"resume goal"});
              return isOfGoal && anyBegins(options, {"resume", "continue"}) &&
                     allBegin(options, {"resume", "continue", "leave", "keep", "cancel"});
          }},
    Words{DialogKind::login, "an option logs in",
          [](const Lines&, const Lines& options) {
              return anyBegins(options, {"sign in", "log in", "login", "use an api key", "use api key",
                                         "use your own api key", "provide your own api key", "api key"});
          }},
    Words{DialogKind::update, "an option updates the agent",
          [](const Lines&, const Lines& options) {
              return anyBegins(options, {"update now", "upgrade now"});
          }},
    Words{DialogKind::trust, "the question asks for trust",
          [](const Lines& question, const Lines& options) {
              return anyBegins(options, {"trust", "yes, i trust"}) ||
                     anyBegins(question, {"trust", "do you trust"});
          }},
    Words{DialogKind::usageLimit, "the question names a limit",
          [](const Lines& question, const Lines&) {
              return !question.empty() &&
                     holdsAnyOf(question.front(), {"usage limit", "rate limit", "out of credits"});
          }},
    Words{DialogKind::update, "the question names an update",
          [](const Lines& question, const Lines&) { return anyBegins(question, {"update available"}); }},
};

}  // namespace

std::pair<DialogKind, std::string> kindOf(const std::vector<std::string>& question,
                                          const std::vector<DialogOption>& options) {
    Lines asked, offered;
    std::ranges::transform(question, std::back_inserter(asked), comparable);
    std::ranges::transform(options, std::back_inserter(offered),
                           [](const DialogOption& option) { return comparable(option.text); });
    const auto* words =
        std::ranges::find_if(kinds, [&](const Words& known) { return known.match(asked, offered); });
    return words == kinds.end() ? std::pair{DialogKind::unknown, std::string("options without known words")}
                                : std::pair{words->kind, std::string(words->reason)};
}

}  // namespace quernlight::host
