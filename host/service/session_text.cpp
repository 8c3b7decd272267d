#include "host/service/session_text.hpp"

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include "host/text/clock_time.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

/// A member as text; empty for null, or when there is none.
std::string member(const json::object& object, std::string_view key) {
    const json::value* found = object.if_contains(key);
    if (!found || found->is_null()) {
        return "";
    }
    const json::string* text = found->if_string();
    return withoutControls(text ? std::string(*text) : json::serialize(*found));
}

/// A member that is an object; empty when it is none.
json::object part(const json::object& object, std::string_view key) {
    const json::value* found = object.if_contains(key);
    return found && found->is_object() ? found->get_object() : json::object();
}

json::array elements(const json::object& object, std::string_view key) {
    const json::value* found = object.if_contains(key);
    return found && found->is_array() ? found->get_array() : json::array();
}

std::string lineOf(const json::value& element) {
    const json::string* text = element.if_string();
    return text ? withoutControls(*text) : "";
}

std::string orElse(const std::string& text, const char* otherwise) {
    return text.empty() ? otherwise : text;
}

std::string clockTimeOf(const std::string& instant) {
    const auto parsed = parseInstant(instant);
    return parsed ? clockTime(*parsed) : "-";
}

std::string agentText(const json::object& session) {
    const json::object agent = part(session, "agent");
    if (!agent.empty()) {
        return member(agent, "state") + " (" + member(agent, "rule") + ": " + member(agent, "reason") +
               "), process " + orElse(member(agent, "pid"), "ended") + ", since " + member(agent, "since");
    }
    return member(session, "dispatcher_runs") == "true" ? "none runs" : "no dispatcher is running";
}

std::string attemptText(const json::object& attempt) {
    const std::string ended = member(attempt, "ended_at");
    const std::string code = member(attempt, "exit_code");
    return member(attempt, "number") + " (" + member(attempt, "state") + "), from " +
           member(attempt, "started_at") + (ended.empty() ? "" : " to " + ended) +
           (code.empty() ? "" : ", ended with code " + code);
}

std::string dialogText(const json::object& dialog) {
    if (dialog.empty()) {
        return "none\n";
    }
    std::string text = member(dialog, "kind") + ": " + member(dialog, "question") + "\n";
    for (const json::value& element : elements(dialog, "options")) {
        const json::object option = element.is_object() ? element.get_object() : json::object();
        text += member(option, "selected") == "true" ? "  › " : "    ";
        text += member(option, "number") + ". " + member(option, "text") + "\n";
    }
    return text;
}

/// A text that may be empty, which is not the same as none.
std::string mayBeEmpty(const json::object& session, std::string_view key, const char* ifEmpty) {
    const json::value* found = session.if_contains(key);
    return !found || found->is_null() ? "none" : orElse(member(session, key), ifEmpty);
}

}  // namespace

std::string sessionLine(const json::object& session) {
    const json::object agent = part(session, "agent");
    const std::string detail = member(session, "detail");
    return fitted(member(session, "bug"), 8) + "  " + fitted(member(session, "app"), 12) + "  " +
           fitted(member(session, "stage_text"), 20) + "  " + fitted(orElse(member(agent, "state"), "-"), 8) +
           "  " + fitted(clockTimeOf(member(agent, "since")), 8) + "  " +
           (detail.empty() ? member(session, "title") : detail) + "\n";
}

std::string sessionStatus(const json::object& session) {
    const json::object attempt = part(session, "attempt");
    std::string text = fitted(member(session, "bug"), 8) + "  " + fitted(member(session, "app"), 12) + "  " +
                       fitted(member(session, "stage_text"), 20) + "  " + member(session, "title") + "\n";
    const std::string detail = member(session, "detail");
    text += detail.empty() ? "" : "detail:     " + detail + "\n";
    text += "agent:      " + agentText(session) + "\n";
    if (attempt.empty()) {
        return text + "attempt:    none yet\n";
    }
    return text + "attempt:    " + attemptText(attempt) +
           "\nprocess:    " + orElse(member(attempt, "pid"), "none") +
           "\nworktree:   " + orElse(member(attempt, "worktree"), "none") +
           "\ndirectory:  " + member(attempt, "directory") + "\n";
}

std::string pictureText(const json::object& session) {
    std::string text;
    std::string blank;
    for (const json::value& element : elements(part(session, "screen"), "lines")) {
        const std::string line = lineOf(element);
        blank += "\n";
        if (!line.empty()) {
            text += blank.substr(1) + line + "\n";
            blank.clear();
        }
    }
    return text;
}

std::string explanationText(const json::object& session) {
    const json::object agent = part(session, "agent");
    std::string text = "agent: " + member(agent, "state") + ", by the first rule that applies\n";
    for (const json::value& rule : elements(session, "rules")) {
        text += "  " + lineOf(rule) + "\n";
    }
    return text + "composer: " + mayBeEmpty(session, "composer", "empty") +
           "\ndialog: " + dialogText(part(session, "dialog")) +
           "usage limit: " + mayBeEmpty(session, "usage_limit", "without a time") +
           "\nnotice: " + mayBeEmpty(session, "notice", "empty") + "\n";
}

}  // namespace quernlight::host
