#include "quernlight/backend/quernlight_client.hpp"

#include <array>
#include <exception>
#include <tuple>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/deferred.hpp>
#include <boost/asio/experimental/parallel_group.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "quernlight/backend/attachment.hpp"
#include "quernlight/backend/backend_requests.hpp"
#include "quernlight/backend/multipart_form.hpp"
#include "quernlight/backend/quernlight_decoder.hpp"
#include "quernlight/backend/records.hpp"
#include "quernlight/platform/background_executor.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace asio = boost::asio;
namespace {

/// Backends of an older version refuse a bug without logs.
constexpr const char* logsPlaceholder =
    "No diagnostic logs were collected.\n\n"
    "This manual bug was filed from Quernlight Dispatch. The backend version that received it requires a "
    "non-empty logs field, so Dispatch sent this placeholder instead of collecting system logs.";

using Session = std::shared_ptr<HttpSession>;

Task<HttpResponse> exchange(Session session, HttpRequest request) {
    try {
        co_return co_await session->send(std::move(request));
    } catch (const TransportError& error) {
        if (error.reason() == TransportError::Reason::notHTTP) {
            throw BackendError::invalidResponse();
        }
        throw;
    }
}

/// The body of an accepted request; any other status is thrown.
Task<std::string> send(Session session, HttpRequest request) {
    HttpResponse response = co_await exchange(std::move(session), std::move(request));
    if (response.status < 200 || response.status > 299) {
        throw BackendError::server(response.status, validUtf8(response.body), response.retryAfter);
    }
    co_return std::move(response.body);
}

template <class Record>
Task<Record> load(Session session, HttpRequest request) {
    const std::string body = co_await send(std::move(session), std::move(request));
    co_return QuernlightDecoder::make().decode<Record>(body);
}

bool wantsLogs(const BackendError& error) {
    return error.isServer(400) && containsIgnoringCase(error.body(), "logs required");
}

/// Reads on a thread of its own, because files may lie on a slow disk. They go into one body, so the bound of
/// one holds for all of them together.
Task<std::vector<Attachment>> readAttachments(std::vector<std::filesystem::path> files) {
    BackgroundExecutor reader;
    std::vector<Attachment> attachments;
    std::size_t left = largestAttachment;
    for (const auto& file : files) {
        attachments.push_back(co_await reader.run([&file, left] { return readAttachment(file, left); }));
        left -= attachments.back().bytes.size();
    }
    co_return attachments;
}

}  // namespace

QuernlightClient::QuernlightClient(Url baseURL, std::string adminToken, std::shared_ptr<HttpSession> session)
    : baseURL_(std::move(baseURL)), adminToken_(std::move(adminToken)), session_(std::move(session)) {}

BackendRequests QuernlightClient::requests() const {
    return {baseURL_, adminToken_};
}

Task<std::vector<QLAppDTO>> QuernlightClient::fetchApps() const {
    auto response = co_await load<QLAppListResponse>(session_, requests().apps());
    co_return std::move(response.apps);
}

Task<std::vector<QLBugSummaryDTO>> QuernlightClient::fetchBugs(std::vector<std::string> statuses,
                                                               int limit) const {
    std::vector<std::vector<QLBugSummaryDTO>> lists;
    for (const std::string& status : statuses) {
        auto response = co_await load<QLBugListResponse>(session_, requests().bugs(status, limit));
        lists.push_back(std::move(response.bugs));
    }
    co_return mergedBugs(std::move(lists));
}

Task<std::vector<QLBugSummaryDTO>> QuernlightClient::fetchOpenBugs(int limit) const {
    std::vector<std::string> statuses{"open"};
    co_return co_await fetchBugs(std::move(statuses), limit);
}

Task<std::vector<QLBugSummaryDTO>> QuernlightClient::fetchDispatchBugs(int limit) const {
    std::vector<std::string> statuses{"open", "investigate", "in_review"};
    co_return co_await fetchBugs(std::move(statuses), limit);
}

Task<QLBugDetailResponse> QuernlightClient::fetchBugDetail(std::string id) const {
    co_return co_await load<QLBugDetailResponse>(session_, requests().bugDetail(id));
}

Task<std::vector<QLCommentDTO>> QuernlightClient::fetchComments(std::string bugID) const {
    auto response = co_await load<QLCommentsResponse>(session_, requests().comments(bugID));
    co_return std::move(response.comments);
}

Task<ReadableList<QLBugSummaryDTO>> QuernlightClient::fetchReadableBugs(std::string status, int limit) const {
    const std::string body = co_await send(session_, requests().bugs(status, limit));
    co_return QuernlightDecoder::make().decodeReadableBugs(body);
}

Task<ReadableList<QLCommentDTO>> QuernlightClient::fetchReadableComments(std::string bugID) const {
    const std::string body = co_await send(session_, requests().comments(bugID));
    co_return QuernlightDecoder::make().decodeReadableComments(body);
}

Task<std::optional<Url>> QuernlightClient::fetchPullRequestURL(std::string id) const {
    const std::string body = co_await send(session_, requests().bugDetail(id));
    co_return QuernlightDecoder::make().decodePullRequestURL(body);
}

Task<QLBugDetailResponse> QuernlightClient::fetchBugDetailWithServerComments(std::string id) const {
    const auto executor = co_await asio::this_coro::executor;
    auto both =
        asio::experimental::make_parallel_group(asio::co_spawn(executor, fetchBugDetail(id), asio::deferred),
                                                asio::co_spawn(executor, fetchComments(id), asio::deferred));
    auto [order, detailError, detail, commentsError, comments] =
        co_await both.async_wait(asio::experimental::wait_for_one_error(), asio::use_awaitable);
    if (detailError || commentsError) {
        // The first to end with one; it has the other cancelled.
        const bool isDetails = detailError && (order[0] == 0 || !commentsError);
        std::rethrow_exception(isDetails ? detailError : commentsError);
    }
    detail.comments = std::move(comments);
    co_return std::move(detail);
}

Task<QLCreateBugResponse> QuernlightClient::createBug(QLAppDTO app, CreateBugRequest bug) const {
    bug.logs.reset();
    try {
        co_return co_await load<QLCreateBugResponse>(session_, requests().createBug(app, bug));
    } catch (const BackendError& error) {
        if (!wantsLogs(error)) {
            throw;
        }
    }
    bug.logs = logsPlaceholder;
    co_return co_await load<QLCreateBugResponse>(session_, requests().createBug(app, bug));
}

Task<QLCommentDTO> QuernlightClient::createComment(std::string bugID, CreateCommentRequest comment,
                                                   std::vector<std::filesystem::path> files) const {
    std::vector<Attachment> attachments;
    if (!files.empty()) {
        attachments = co_await readAttachments(std::move(files));
    }
    co_return co_await createCommentWith(std::move(attachments), std::move(bugID), std::move(comment));
}

Task<QLCommentDTO> QuernlightClient::createCommentWith(std::vector<Attachment> attachments, std::string bugID,
                                                       CreateCommentRequest comment) const {
    HttpRequest request = requests().createComment(bugID, comment);
    if (!attachments.empty()) {
        request = requests().createComment(bugID, comment, attachments, freshBoundary());
    }
    auto response = co_await load<QLCreateCommentResponse>(session_, std::move(request));
    co_return std::move(response.comment);
}

Task<void> QuernlightClient::updateBugStatus(std::string bugID, std::string status) const {
    try {
        co_await send(session_, requests().patchStatus(bugID, status));
        co_return;
    } catch (const BackendError& error) {
        if (!error.isServer(401) && !error.isServer(403)) {
            throw;
        }
    }
    co_await send(session_, requests().postStatus(bugID, status));
}

Task<void> QuernlightClient::updateBugPRURL(std::string bugID, std::optional<Url> prURL) const {
    UpdateBugPRURLRequest update{std::move(prURL)};
    co_await send(session_, requests().patchPRURL(bugID, update));
}

Task<void> QuernlightClient::deleteBug(std::string bugID) const {
    co_await send(session_, requests().deleteBug(bugID));
}

Task<void> QuernlightClient::deleteComment(std::string bugID, Uuid commentID) const {
    co_await send(session_, requests().deleteComment(bugID, commentID));
}

}  // namespace quernlight
