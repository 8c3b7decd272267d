#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <boost/asio.hpp>

namespace quernlight::standin::test {

/// A backend that answers one bug to whoever asks and remembers what it was told: HTTP on loopback, one
/// connection after the other on a thread of its own.
class RecordingBackend {
  public:
    struct Request {
        std::string line;  ///< method and path, "GET /v1/bugs/3f2a9c1d"
        std::string authorization;
        std::string body;
    };

    RecordingBackend();
    RecordingBackend(const RecordingBackend&) = delete;
    RecordingBackend& operator=(const RecordingBackend&) = delete;
    ~RecordingBackend();

    std::string url() const;

    /// The bug that a GET answers, as JSON; set before the first request.
    void holdBug(const std::string& json) { bug_ = json; }

    /// Changes of a bug itself are answered 403 from now on.
    void forbidPatches() { patchStatus_ = "403 Forbidden"; }

    /// No request is answered while the returned lock is held.
    std::unique_lock<std::mutex> holdAnswers() { return std::unique_lock(gate_); }

    std::vector<Request> requests() const;
    std::vector<std::string> requestLines() const;

  private:
    void serve();
    void answer(boost::asio::ip::tcp::socket socket);
    std::string responseTo(const Request& request) const;

    boost::asio::io_context io_;
    boost::asio::ip::tcp::acceptor acceptor_;
    std::string bug_ = R"({"title":"Save does nothing","description":"Tap Save twice."})";
    std::string patchStatus_ = "200 OK";
    mutable std::mutex mutex_;  ///< guards requests_
    std::vector<Request> requests_;
    std::mutex gate_;  ///< held while an answer is written
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

}  // namespace quernlight::standin::test
