#include "tests/backend/sample_answers.hpp"

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

namespace quernlight::test {
namespace json = boost::json;

json::object appJSON() {
    return {{"id", "00000000-0000-4000-8000-000000000001"},
            {"bundle_id", "com.example.notes"},
            {"name", "Notes"}};
}

json::object bugJSON(const std::string& id, const std::string& createdAt) {
    return {{"id", id},
            {"title", "Crash on launch"},
            {"metadata", json::object()},
            {"status", "open"},
            {"occurred_at", "2026-03-01T09:00:00Z"},
            {"created_at", createdAt},
            {"updated_at", "2026-03-02T10:20:30.5Z"},
            {"attachment_count", 2},
            {"comment_count", 3},
            {"app_id", "00000000-0000-4000-8000-000000000001"},
            {"bundle_id", "com.example.notes"},
            {"app_name", "Notes"}};
}

json::object detailedBugJSON(const std::string& id) {
    json::object bug = bugJSON(id);
    bug.erase("attachment_count");
    bug.erase("comment_count");
    bug["log_s3_key"] = "logs/3f2a9c1d.zip";
    return bug;
}

json::object attachmentJSON() {
    return {{"id", "00000000-0000-4000-8000-0000000000a1"},
            {"bug_id", "3f2a9c1d"},
            {"filename", "screen.png"},
            {"content_type", "image/png"},
            {"size_bytes", 5000000000},
            {"kind", "screenshot"},
            {"created_at", "2026-03-01T10:20:30Z"}};
}

json::object commentJSON(const std::string& body) {
    return {{"id", "00000000-0000-4000-8000-0000000000c1"},
            {"bug_id", "3f2a9c1d"},
            {"body", body},
            {"created_at", "2026-03-01T10:20:30Z"},
            {"updated_at", "2026-03-01T10:20:30Z"},
            {"attachments", json::array()}};
}

std::string wrapped(const std::string& key, json::value value) {
    return json::serialize(json::object{{key, std::move(value)}});
}

std::string bugListJSON(json::array bugs) {
    return wrapped("bugs", std::move(bugs));
}

std::string bugDetailJSON(json::array comments) {
    return json::serialize(json::object{{"bug", detailedBugJSON()},
                                        {"attachments", json::array{attachmentJSON()}},
                                        {"comments", std::move(comments)},
                                        {"log_url", "https://logs.example/3f2a9c1d.zip"}});
}

std::string createdBugJSON() {
    return json::serialize(json::object{{"id", "3f2a9c1d"},
                                        {"created_at", "2026-03-01T10:20:30Z"},
                                        {"app_id", "00000000-0000-4000-8000-000000000001"},
                                        {"bundle_id", "com.example.notes"},
                                        {"attachments_count", 1}});
}

}  // namespace quernlight::test
