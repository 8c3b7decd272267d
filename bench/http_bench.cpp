#include <memory>
#include <stdexcept>
#include <string>

#include "bench/awaited.hpp"
#include "bench/comparison.hpp"
#include "bench/reference/http.h"
#include "quernlight/backend/quernlight_client.hpp"

namespace quernlight::bench {
namespace {

constexpr std::size_t commentCount = 20;

const std::string& comments() {
    static const std::string answer = [] {
        const std::string comment =
            R"({"id": "11111111-2222-4333-8444-555555555555", "bug_id": "3f2a9c10", "body": "It is fixed, see the )"
            R"(pull request. The total is computed for each page now.", "created_at": "2026-03-04T05:06:07Z", )"
            R"("updated_at": "2026-03-04T05:06:07Z", "attachments": []})";
        std::string all = R"({"comments": [)" + comment;
        for (std::size_t count = 1; count < commentCount; ++count) {
            all += "," + comment;
        }
        return all + "]}";
    }();
    return answer;
}

/// Of a server of this process.
std::string baseAddress() {
    static const int port = reference_serve(comments().c_str());
    return "http://127.0.0.1:" + std::to_string(port);
}

void check(bool good) {
    if (!good) {
        throw std::runtime_error("The comments could not be fetched.");
    }
}

void fetchByEasyHandle(benchmark::State& state) {
    const std::unique_ptr<CURL, void (*)(CURL*)> client(reference_client(), &reference_client_close);
    const std::string address = baseAddress() + "/v1/bugs/3f2a9c10/comments";
    for ([[maybe_unused]] auto round : state) {
        check(reference_fetch(client.get(), address.c_str()) == static_cast<long>(comments().size()));
    }
}

Task<void> fetchEach(benchmark::State& state, const QuernlightClient& client) {
    for ([[maybe_unused]] auto round : state) {
        const auto fetched = co_await client.fetchComments("3f2a9c10");
        check(fetched.size() == commentCount);
    }
}

void fetchComments(benchmark::State& state) {
    const QuernlightClient client(Url::parse(baseAddress()).value(), "token",
                                  std::make_shared<HttpSession>());
    awaited(fetchEach(state, client));
}

}  // namespace

void addHttpRows(Table& table) {
    table.add({.what = "fetch comments, kept connection", .reference = "libcurl's easy handle", .bar = 1.25},
              fetchByEasyHandle, fetchComments);
}

}  // namespace quernlight::bench
