#include "host/service/remote_service.hpp"

#include <algorithm>
#include <functional>
#include <iterator>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <boost/url/encode.hpp>
#include <boost/url/rfc/unreserved_chars.hpp>

#include "host/control/control_client.hpp"
#include "host/control/other_version.hpp"
#include "host/service/bug_operations_json.hpp"
#include "host/service/configuration_json.hpp"
#include "host/service/json_fields.hpp"
#include "host/service/observation_json.hpp"
#include "host/service/preserved_json.hpp"
#include "host/service/queue_json.hpp"
#include "host/service/report_json.hpp"
#include "host/service/review_json.hpp"
#include "host/service/service_error.hpp"
#include "quernlight/backend/quernlight_decoder.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

using Path = std::vector<std::string>;

constexpr std::chrono::seconds timeout{30};
constexpr std::chrono::minutes gitTimeout{10};  ///< for what may fetch from several repositories
constexpr const char* wholePage = "?limit=1000&offset=";

ServiceError misunderstood() {
    return {ServiceErrorCode::unavailable, ownerOfAnotherVersion};
}

/// A refusal by the service, or by the socket before the service was asked.
ServiceError refusalOf(const ControlResponse& response, const Problem& problem) {
    constexpr unsigned notFound = 404;
    constexpr unsigned notAllowed = 405;
    if (const auto code = parseServiceErrorCode(problem.code)) {
        return {*code, problem.detail};
    }
    if (response.status == notFound || response.status == notAllowed) {
        return misunderstood();
    }
    return {ServiceErrorCode::unavailable, problem.detail};
}

Task<json::value> ask(std::filesystem::path home, ControlRequest request,
                      std::chrono::seconds limit = timeout) {
    const ControlResponse response = co_await askOwner(std::move(home), std::move(request), limit);
    if (const auto problem = problemOf(response)) {
        throw refusalOf(response, *problem);
    }
    boost::system::error_code error;
    json::value answer = json::parse(response.body, error);
    if (error) {
        throw misunderstood();
    }
    co_return answer;
}

ControlRequest get(const Path& path) {
    return {.method = "GET", .target = controlTarget(path)};
}

ControlRequest send(const char* method, const Path& path, const json::object& body) {
    return {.method = method, .target = controlTarget(path), .body = json::serialize(body)};
}

/// What `read` makes of the answer.
template <class Read>
auto asked(std::filesystem::path home, ControlRequest request, Read read,
           std::chrono::seconds limit = timeout) -> Task<decltype(read(std::declval<json::value>()))> {
    const json::value answer = co_await ask(std::move(home), std::move(request), limit);
    try {
        co_return read(answer);
    } catch (const Misread&) {
        throw misunderstood();
    }
}

/// What a page holds beside its elements.
using Beside = std::function<void(const JsonFields& page)>;

/// All pages of a list. One that changes between two pages may lack an element, or have it twice.
template <class Read>
auto askedAll(
    std::filesystem::path home, Path path, Read read, std::string query = "",
    Beside beside = [](const JsonFields&) {})
    -> Task<std::vector<decltype(read(std::declval<json::value>()))>> {
    std::vector<decltype(read(std::declval<json::value>()))> all;
    std::optional<std::int64_t> offset = 0;
    while (offset) {
        ControlRequest request = get(path);
        request.target += wholePage + std::to_string(*offset) + query;
        const json::value answer = co_await ask(home, std::move(request));
        try {
            const JsonFields page(answer);
            auto part = readEach(page.list("items"), read);
            std::move(part.begin(), part.end(), std::back_inserter(all));
            if (beside) {
                beside(page);
            }
            const auto next = page.optionalInteger("next_offset");
            offset = next && *next > *offset ? next : std::nullopt;
        } catch (const Misread&) {
            throw misunderstood();
        }
    }
    co_return all;
}

Task<QueueList> askedQueue(std::filesystem::path home) {
    QueueList list;
    const Beside takeUnreadable = [&list](const JsonFields& page) {
        list.unreadable = readEach(page.list("unreadable"), readUnreadableBug);
    };
    const Path path{"v1", "queue"};
    const std::string query;
    Task<std::vector<QueueEntry>> asking =
        askedAll(std::move(home), path, readQueueEntry, query, takeUnreadable);
    list.entries = co_await std::move(asking);
    co_return list;
}

/// The first page with the elements of all of them, for lists that have more members than a page.
Task<json::value> askedWhole(std::filesystem::path home, std::string target, std::chrono::seconds limit) {
    json::object whole;
    json::array items;
    std::optional<std::int64_t> offset = 0;
    while (offset) {
        ControlRequest request{.method = "GET", .target = target + std::to_string(*offset)};
        json::value answer = co_await ask(home, std::move(request), limit);
        try {
            const JsonFields page(answer);
            std::ranges::copy(page.list("items"), std::back_inserter(items));
            const auto next = page.optionalInteger("next_offset");
            offset = next && *next > *offset ? next : std::nullopt;
        } catch (const Misread&) {
            throw misunderstood();
        }
        if (whole.empty()) {
            whole = std::move(answer.as_object());
        }
    }
    whole["items"] = std::move(items);
    co_return whole;
}

template <class Read>
auto askedPages(std::filesystem::path home, std::string target, Read read, std::chrono::seconds limit)
    -> Task<decltype(read(std::declval<json::value>()))> {
    const json::value whole = co_await askedWhole(std::move(home), std::move(target), limit);
    try {
        co_return read(whole);
    } catch (const Misread&) {
        throw misunderstood();
    }
}

Report readReportPages(const json::value& whole) {
    json::object report = whole.as_object();
    report["bugs"] = report.at("items");
    return readReport(report);
}

/// Of the backend's own records, which come as it spells them.
template <class Record, class Take>
auto decoded(std::filesystem::path home, ControlRequest request, Take take)
    -> Task<decltype(take(std::declval<Record>()))> {
    const json::value answer = co_await ask(std::move(home), std::move(request));
    try {
        co_return take(QuernlightDecoder::make().decode<Record>(json::serialize(answer)));
    } catch (const DecodingError&) {
        throw misunderstood();
    }
}

template <class Record>
Task<Record> decoded(std::filesystem::path home, ControlRequest request) {
    return decoded<Record>(std::move(home), std::move(request), [](Record record) { return record; });
}

SettingList readSettings(const json::value& value) {
    const JsonFields fields(value);
    return {.values = readEach(fields.list("items"), readSettingValue), .troubles = fields.texts("troubles")};
}

QLBugSummaryDTO readBugSummary(const json::value& value) {
    const json::object list{{"bugs", json::array{value}}};
    try {
        return QuernlightDecoder::make().decode<QLBugListResponse>(json::serialize(list)).bugs.at(0);
    } catch (const DecodingError& error) {
        throw Misread(error.what());
    }
}

Task<void> done(std::filesystem::path home, ControlRequest request) {
    co_await ask(std::move(home), std::move(request));
}

}  // namespace

Task<QueueList> RemoteService::queue() {
    return askedQueue(home_);
}

Task<QueueItemDetails> RemoteService::queueItem(std::string bugID) {
    return asked(home_, get({"v1", "queue", std::move(bugID)}), readQueueItemDetails);
}

Task<QueueEntry> RemoteService::change(QueueChange change) {
    const Path path{"v1", "queue", change.bugID, std::string(nameOf(change.action))};
    return asked(home_, send("POST", path, jsonOf(change)), readQueueEntry);
}

Task<std::vector<AppMapping>> RemoteService::mappings() {
    return askedAll(home_, {"v1", "mappings"}, readMapping);
}

Task<StoredMapping> RemoteService::setMapping(MappingRequest request) {
    const Path path{"v1", "mappings", request.bundleID};
    return asked(home_, send("PUT", path, jsonOf(request)), readStoredMapping);
}

Task<AppMapping> RemoteService::removeMapping(std::string bundleID) {
    return asked(home_, send("DELETE", {"v1", "mappings", std::move(bundleID)}, {}), readMapping);
}

Task<std::vector<MappingCheck>> RemoteService::checkMappings() {
    return askedAll(home_, {"v1", "mapping-checks"}, readMappingCheck);
}

/// There are never so many that a page does not hold them.
Task<SettingList> RemoteService::settings() {
    ControlRequest request = get({"v1", "settings"});
    request.target += wholePage + std::to_string(0);
    return asked(home_, std::move(request), readSettings);
}

Task<SettingValue> RemoteService::setting(std::string key) {
    return asked(home_, get({"v1", "settings", std::move(key)}), readSettingValue);
}

Task<SettingValue> RemoteService::setSetting(std::string key, std::string text) {
    const json::object body{{"text", jsonText(text)}};
    return asked(home_, send("PUT", {"v1", "settings", std::move(key)}, body), readSettingValue);
}

Task<SettingValue> RemoteService::unsetSetting(std::string key) {
    return asked(home_, send("DELETE", {"v1", "settings", std::move(key)}, {}), readSettingValue);
}

Task<SettingList> RemoteService::changeSettings(std::vector<SettingChange> changes) {
    return asked(home_, send("PATCH", {"v1", "settings"}, jsonOf(changes)), readSettingList);
}

Task<std::vector<QLBugSummaryDTO>> RemoteService::bugs(BugQuery query) {
    std::string more = "&newest=" + std::to_string(query.limit);
    for (const std::string& status : query.statuses) {
        more += "&status=" + boost::urls::encode(status, boost::urls::unreserved_chars);
    }
    return askedAll(home_, {"v1", "bugs"}, readBugSummary, std::move(more));
}

Task<QLBugDetailResponse> RemoteService::bugDetail(std::string bugID) {
    return decoded<QLBugDetailResponse>(home_, get({"v1", "bugs", std::move(bugID)}));
}

Task<QLCreateBugResponse> RemoteService::fileBug(NewBug bug) {
    return decoded<QLCreateBugResponse>(home_, send("POST", {"v1", "bugs"}, jsonOf(bug)));
}

Task<QLCommentDTO> RemoteService::comment(BugComment comment) {
    const Path path{"v1", "bugs", comment.bugID, "comments"};
    return decoded<QLCommentDTO>(home_, send("POST", path, jsonOf(comment)));
}

Task<void> RemoteService::setBugStatus(std::string bugID, std::string status) {
    const json::object body{{"status", jsonText(status)}};
    return done(home_, send("PUT", {"v1", "bugs", std::move(bugID), "status"}, body));
}

Task<void> RemoteService::setPullRequest(std::string bugID, std::optional<Url> link) {
    const json::object body{{"pull_request", jsonIfAny(link)}};
    return done(home_, send("PUT", {"v1", "bugs", std::move(bugID), "pull-request"}, body));
}

Task<void> RemoteService::deleteBug(std::string bugID) {
    return done(home_, send("DELETE", {"v1", "bugs", std::move(bugID)}, {}));
}

Task<QueueEntry> RemoteService::enqueue(std::string bugID, QueueMode mode) {
    const json::object body{{"bug", jsonText(bugID)}, {"queue", rawValue(mode)}};
    return asked(home_, send("POST", {"v1", "queue"}, body), readQueueEntry);
}

Task<std::vector<RunningSession>> RemoteService::sessions() {
    return askedAll(home_, {"v1", "sessions"}, readRunningSession);
}

Task<QueueEntry> RemoteService::stopSession(std::string bugID) {
    return asked(home_, send("POST", {"v1", "sessions", std::move(bugID), "stop"}, {}), readQueueEntry);
}

Task<BugState> RemoteService::bug(std::string bugID) {
    return asked(home_, get({"v1", "bugs", std::move(bugID), "state"}), readBugState);
}

Task<std::vector<ReviewItem>> RemoteService::review() {
    return askedAll(home_, {"v1", "review"}, readReviewItem);
}

Task<HealthReport> RemoteService::health() {
    return asked(home_, get({"v1", "health"}), readHealthReport);
}

Task<Report> RemoteService::report(Instant since) {
    return askedPages(
        home_, "/v1/report?since=" + formatInstant(since) + "&limit=1000&offset=", readReportPages, timeout);
}

/// Pages are small, since each element takes several gits. All are asked for: nobody wants a part from here.
Task<PreservedList> RemoteService::preserved(ListRange) {
    return askedPages(home_, "/v1/preserved?limit=100&offset=", readPreservedPage, gitTimeout);
}

Task<PreservedDetails> RemoteService::preservedWork(std::string name) {
    return asked(home_, get({"v1", "preserved", std::move(name)}), readPreservedDetails, gitTimeout);
}

Task<RestoredWork> RemoteService::restorePreserved(RestoreRequest request) {
    const Path path{"v1", "preserved", request.name, "restore"};
    return asked(home_, send("POST", path, jsonOf(request)), readRestoredWork, gitTimeout);
}

Task<ReviewStates> RemoteService::reviewStates(ListRange) {
    const auto read = [](const json::value& whole) {
        const JsonFields fields(whole);
        ReviewStates reviews{.states = readEach(fields.list("items"), readReviewState)};
        reviews.total = reviews.states.size();
        return reviews;
    };
    return askedPages(home_, "/v1/review/states?limit=50&offset=", read, gitTimeout);
}

Task<std::vector<ReapedBug>> RemoteService::reap(bool dryRun) {
    const json::object body{{"dry_run", dryRun}};
    const auto read = [](const json::value& answer) {
        return readEach(JsonFields(answer).list("bugs"), readReapedBug);
    };
    return asked(home_, send("POST", {"v1", "review", "reap"}, body), read, gitTimeout);
}

EventSubscription RemoteService::subscribe(const boost::asio::any_io_executor& executor,
                                           EventListener listener) {
    return followEvents(executor, home_, std::move(listener));
}

}  // namespace quernlight::host
