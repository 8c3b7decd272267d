#include "standin/codex/backend.hpp"

#include <memory>
#include <stdexcept>
#include <utility>

#include <curl/curl.h>

namespace quernlight::standin::codex {
namespace {

struct Release {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    void operator()(char* text) const { curl_free(text); }
};

constexpr long timeoutSeconds = 30;

std::size_t append(char* bytes, std::size_t size, std::size_t count, void* target) {
    static_cast<std::string*>(target)->append(bytes, size * count);
    return size * count;
}

std::unique_ptr<curl_slist, Release> headers(const std::string& token) {
    std::unique_ptr<curl_slist, Release> list(
        curl_slist_append(nullptr, ("Authorization: Bearer " + token).c_str()));
    curl_slist_append(list.get(), "Content-Type: application/json");
    return list;
}

std::string bugPath(const std::string& bugID) {
    const std::unique_ptr<char, Release> escaped(
        curl_easy_escape(nullptr, bugID.c_str(), static_cast<int>(bugID.size())));
    return std::string("/v1/bugs/") + escaped.get();
}

bool succeeded(long status) {
    return status >= 200 && status <= 299;
}

}  // namespace

Backend::Backend(std::string url, std::string token) : url_(std::move(url)), token_(std::move(token)) {
    while (url_.ends_with('/')) {
        url_.pop_back();
    }
}

std::string Backend::fetchBug(const std::string& bugID) {
    Answer answer = send("GET", bugPath(bugID), "");
    if (!succeeded(answer.status)) {
        throw std::runtime_error("The bug cannot be read: HTTP " + std::to_string(answer.status) + ".");
    }
    return std::move(answer.body);
}

void Backend::setStatus(const std::string& bugID, const std::string& statusJSON) {
    Answer answer = send("PATCH", bugPath(bugID), statusJSON);
    if (answer.status == 401 || answer.status == 403) {
        answer = send("POST", bugPath(bugID) + "/status", statusJSON);
    }
    if (!succeeded(answer.status)) {
        throw std::runtime_error("The bug's status cannot be set: HTTP " + std::to_string(answer.status) +
                                 ".");
    }
}

void Backend::postComment(const std::string& bugID, const std::string& commentJSON) {
    const Answer answer = send("POST", bugPath(bugID) + "/comments", commentJSON);
    if (!succeeded(answer.status)) {
        throw std::runtime_error("The comment cannot be posted: HTTP " + std::to_string(answer.status) + ".");
    }
}

Backend::Answer Backend::send(const std::string& method, const std::string& path,
                              const std::string& body) const {
    const std::unique_ptr<CURL, Release> handle(curl_easy_init());
    const auto list = headers(token_);
    Answer answer;
    CURL* curl = handle.get();
    curl_easy_setopt(curl, CURLOPT_URL, (url_ + path).c_str());
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, timeoutSeconds);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list.get());
    if (!body.empty()) {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        curl_easy_setopt(curl, CURLOPT_COPYPOSTFIELDS, body.c_str());
    }
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer.body);
    if (const CURLcode code = curl_easy_perform(curl); code != CURLE_OK) {
        throw std::runtime_error(std::string("The backend cannot be reached: ") + curl_easy_strerror(code) +
                                 ".");
    }
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &answer.status);
    return answer;
}

}  // namespace quernlight::standin::codex
