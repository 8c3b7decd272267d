#include "quernlight/runner/runner_json.hpp"

#include <stdexcept>
#include <string>

#include <boost/json/object.hpp>

#include "quernlight/runner/base64.hpp"

namespace quernlight {
namespace json = boost::json;
namespace {

template <class Value>
Value required(std::optional<Value> value, std::string_view key) {
    if (!value) {
        throw std::invalid_argument("\"" + std::string(key) + "\" is not of the expected form.");
    }
    return *std::move(value);
}

std::string textAt(const json::object& object, std::string_view key) {
    return std::string(object.at(key).as_string());
}

Uuid uuidAt(const json::object& object, std::string_view key) {
    return required(parseUuid(textAt(object, key)), key);
}

Instant dateAt(const json::object& object, std::string_view key) {
    return required(parseInstant(textAt(object, key)), key);
}

template <class Integer>
Integer integerAt(const json::object& object, std::string_view key) {
    return object.at(key).to_number<Integer>();
}

std::optional<Uuid> optionalUuidAt(const json::object& object, std::string_view key) {
    const json::value* value = object.if_contains(key);
    return value && !value->is_null() ? std::optional(uuidAt(object, key)) : std::nullopt;
}

template <class Record>
json::object sessionObject(const Record& record) {
    return {{"sessionID", upperCaseText(record.sessionID)},
            {"pid", record.pid},
            {"startedAt", formatInstant(record.startedAt)}};
}

template <class Record>
Record sessionRecord(const json::object& object) {
    return {.sessionID = uuidAt(object, "sessionID"),
            .pid = integerAt<std::int32_t>(object, "pid"),
            .startedAt = dateAt(object, "startedAt")};
}

json::object caseObject(const RunnerEvent::Started& payload) {
    return {{"started", json::object{{"pid", payload.pid}}}};
}

json::object caseObject(const RunnerEvent::Output& payload) {
    return {{"output", json::object{{"bytes", base64Encoded(payload.bytes)}}}};
}

json::object caseObject(const RunnerEvent::Exited& payload) {
    return {{"exited", json::object{{"exitCode", payload.exitCode}}}};
}

json::object caseObject(const RunnerEvent::Failed& payload) {
    return {{"failed", json::object{{"message", payload.message}}}};
}

RunnerEvent eventOf(std::string_view name, const json::object& fields) {
    const Uuid sessionID = uuidAt(fields, "sessionID");
    const Instant date = dateAt(fields, "date");
    if (name == "started") {
        return RunnerEvent::Started{sessionID, integerAt<std::int32_t>(fields, "pid"), date};
    }
    if (name == "output") {
        return RunnerEvent::Output{sessionID, required(base64Decoded(textAt(fields, "bytes")), "bytes"),
                                   date};
    }
    if (name == "exited") {
        return RunnerEvent::Exited{sessionID, integerAt<std::int32_t>(fields, "exitCode"), date};
    }
    if (name == "failed") {
        return RunnerEvent::Failed{sessionID, textAt(fields, "message"), date};
    }
    throw std::invalid_argument("\"" + std::string(name) + "\" is no runner event.");
}

}  // namespace

void tag_invoke(const json::value_from_tag&, json::value& json, TerminationMode mode) {
    json = rawValue(mode);
}

TerminationMode tag_invoke(const json::value_to_tag<TerminationMode>&, const json::value& json) {
    return required(terminationModeOf(json.as_string()), "mode");
}

void tag_invoke(const json::value_from_tag&, json::value& json, const StartSessionRequest& request) {
    json::object object{{"sessionID", upperCaseText(request.sessionID)},
                        {"repoPath", request.repoPath.string()},
                        {"launchCommand", json::value_from(request.launchCommand)},
                        {"environment", json::value_from(request.environment)},
                        {"initialInput", request.initialInput},
                        {"transcriptANSIPath", request.transcriptANSIPath.string()},
                        {"transcriptTextPath", request.transcriptTextPath.string()},
                        {"columns", request.columns},
                        {"rows", request.rows}};
    if (request.queueItemID) {
        object["queueItemID"] = upperCaseText(*request.queueItemID);
    }
    json = std::move(object);
}

StartSessionRequest tag_invoke(const json::value_to_tag<StartSessionRequest>&, const json::value& json) {
    const json::object& object = json.as_object();
    return {.sessionID = uuidAt(object, "sessionID"),
            .queueItemID = optionalUuidAt(object, "queueItemID"),
            .repoPath = textAt(object, "repoPath"),
            .launchCommand = json::value_to<std::vector<std::string>>(object.at("launchCommand")),
            .environment = json::value_to<EnvironmentMap>(object.at("environment")),
            .initialInput = textAt(object, "initialInput"),
            .transcriptANSIPath = textAt(object, "transcriptANSIPath"),
            .transcriptTextPath = textAt(object, "transcriptTextPath"),
            .columns = integerAt<int>(object, "columns"),
            .rows = integerAt<int>(object, "rows")};
}

void tag_invoke(const json::value_from_tag&, json::value& json, const StartSessionResponse& response) {
    json = sessionObject(response);
}

StartSessionResponse tag_invoke(const json::value_to_tag<StartSessionResponse>&, const json::value& json) {
    return sessionRecord<StartSessionResponse>(json.as_object());
}

void tag_invoke(const json::value_from_tag&, json::value& json, const RunnerSessionSnapshot& snapshot) {
    json = sessionObject(snapshot);
}

RunnerSessionSnapshot tag_invoke(const json::value_to_tag<RunnerSessionSnapshot>&, const json::value& json) {
    return sessionRecord<RunnerSessionSnapshot>(json.as_object());
}

void tag_invoke(const json::value_from_tag&, json::value& json, const RunnerEvent& event) {
    json::object object =
        std::visit([](const auto& payload) { return caseObject(payload); }, event.payload());
    json::object& fields = object.begin()->value().as_object();
    fields["sessionID"] = upperCaseText(event.sessionID());
    fields["date"] = formatInstant(event.date());
    json = std::move(object);
}

RunnerEvent tag_invoke(const json::value_to_tag<RunnerEvent>&, const json::value& json) {
    const json::object& object = json.as_object();
    if (object.size() != 1) {
        throw std::invalid_argument("A runner event has exactly one key, its case.");
    }
    return eventOf(object.begin()->key(), object.begin()->value().as_object());
}

}  // namespace quernlight
