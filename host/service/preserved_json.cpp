#include "host/service/preserved_json.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "host/service/json_fields.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

constexpr std::array<std::pair<Containment, std::string_view>, 3> containments{{
    {Containment::unknown, "unknown"},
    {Containment::no, "no"},
    {Containment::yes, "yes"},
}};

std::string_view nameOf(Containment containment) {
    return std::ranges::find(containments, containment, &std::pair<Containment, std::string_view>::first)
        ->second;
}

std::optional<Containment> parseContainment(std::string_view name) {
    const auto* found =
        std::ranges::find(containments, name, &std::pair<Containment, std::string_view>::second);
    return found == containments.end() ? std::nullopt : std::optional(found->first);
}

json::value numberIfAny(const std::optional<std::int64_t>& number) {
    return number ? json::value(*number) : json::value(nullptr);
}

json::object jsonOf(const PreservedCommit& commit) {
    return {{"id", jsonText(commit.id)},
            {"time", formatInstant(commit.time)},
            {"author", jsonText(commit.author)},
            {"subject", jsonText(commit.subject)}};
}

json::object jsonOf(const PreservedFile& file) {
    return {{"path", jsonText(file.path)},
            {"added", numberIfAny(file.added)},
            {"deleted", numberIfAny(file.deleted)}};
}

PreservedWork readWork(const json::value& value) {
    const JsonFields fields(value);
    return {.name = fields.text("name"),
            .reference = fields.text("reference"),
            .commit = fields.text("commit"),
            .bugID = fields.text("bug"),
            .bundleID = fields.text("bundle"),
            .appName = fields.text("app"),
            .repository = fields.text("repository"),
            .base = fields.optionalText("base").value_or(""),
            .keptAt = fields.instant("kept_at"),
            .commits = fields.integer("commits"),
            .files = fields.integer("files"),
            .added = fields.integer("added"),
            .deleted = fields.integer("deleted"),
            .contained = fields.parsed("contained", parseContainment)};
}

PreservedCommit readCommit(const json::value& value) {
    const JsonFields fields(value);
    return {.id = fields.text("id"),
            .time = fields.instant("time"),
            .author = fields.text("author"),
            .subject = fields.text("subject")};
}

PreservedFile readFile(const json::value& value) {
    const JsonFields fields(value);
    return {.path = fields.text("path"),
            .added = fields.optionalInteger("added"),
            .deleted = fields.optionalInteger("deleted")};
}

}  // namespace

json::object jsonOf(const PreservedWork& work) {
    return {{"name", jsonText(work.name)},
            {"reference", jsonText(work.reference)},
            {"commit", jsonText(work.commit)},
            {"bug", jsonText(work.bugID)},
            {"bundle", jsonText(work.bundleID)},
            {"app", jsonText(work.appName)},
            {"repository", jsonText(work.repository)},
            {"base", work.base.empty() ? json::value(nullptr) : jsonText(work.base)},
            {"kept_at", formatInstant(work.keptAt)},
            {"commits", work.commits},
            {"files", work.files},
            {"added", work.added},
            {"deleted", work.deleted},
            {"contained", nameOf(work.contained)}};
}

json::object jsonOf(const PreservedList& list) {
    return {{"works", jsonArray(list.works, [](const PreservedWork& work) { return jsonOf(work); })},
            {"troubles", jsonArray(list.troubles, jsonText)}};
}

json::object jsonOf(const PreservedDetails& details) {
    return {
        {"work", jsonOf(details.work)},
        {"others", jsonArray(details.others, jsonText)},
        {"commits", jsonArray(details.commits, [](const PreservedCommit& commit) { return jsonOf(commit); })},
        {"files", jsonArray(details.files, [](const PreservedFile& file) { return jsonOf(file); })}};
}

json::object jsonOf(const RestoredWork& restored) {
    return {{"work", jsonOf(restored.work)},
            {"directory", jsonIfAny(restored.directory)},
            {"branch", jsonIfAny(restored.branch)}};
}

json::object jsonOf(const RestoreRequest& request) {
    return {{"directory", jsonIfAny(request.directory)}, {"branch", jsonIfAny(request.branch)}};
}

PreservedList readPreservedPage(const json::value& value) {
    const JsonFields fields(value);
    PreservedList list{.works = readEach(fields.list("items"), readWork),
                       .troubles = fields.texts("troubles")};
    list.total = list.works.size();
    return list;
}

PreservedDetails readPreservedDetails(const json::value& value) {
    const JsonFields fields(value);
    return {.work = readWork(fields.value("work")),
            .others = fields.texts("others"),
            .commits = readEach(fields.list("commits"), readCommit),
            .files = readEach(fields.list("files"), readFile)};
}

RestoredWork readRestoredWork(const json::value& value) {
    const JsonFields fields(value);
    return {.work = readWork(fields.value("work")),
            .directory = fields.optionalText("directory"),
            .branch = fields.optionalText("branch")};
}

RestoreRequest readRestoreRequest(std::string name, const json::value& value) {
    const JsonFields fields(value);
    return {.name = std::move(name),
            .directory = fields.optionalText("directory"),
            .branch = fields.optionalText("branch")};
}

}  // namespace quernlight::host
