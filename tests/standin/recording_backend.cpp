#include "tests/standin/recording_backend.hpp"

#include <sstream>

namespace quernlight::standin::test {
namespace {

using boost::asio::ip::tcp;

std::string valueOf(const std::string& head, const std::string& name) {
    const std::size_t found = head.find("\r\n" + name + ": ");
    if (found == std::string::npos) {
        return {};
    }
    const std::size_t start = found + name.size() + 4;
    return head.substr(start, head.find("\r\n", start) - start);
}

RecordingBackend::Request readRequest(tcp::socket& socket) {
    std::string text;
    const std::size_t headSize =
        boost::asio::read_until(socket, boost::asio::dynamic_buffer(text), "\r\n\r\n");
    const std::string head = text.substr(0, headSize);
    std::string body = text.substr(headSize);
    const std::string length = valueOf(head, "Content-Length");
    const std::size_t missing = length.empty() ? 0 : std::stoul(length) - body.size();
    boost::asio::read(socket, boost::asio::dynamic_buffer(body), boost::asio::transfer_exactly(missing));
    return {.line = head.substr(0, head.find(" HTTP/")),
            .authorization = valueOf(head, "Authorization"),
            .body = body};
}

}  // namespace

RecordingBackend::RecordingBackend()
    : acceptor_(io_, tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0)),
      thread_([this] { serve(); }) {}

RecordingBackend::~RecordingBackend() {
    stopping_ = true;
    tcp::socket wake(io_);
    boost::system::error_code ignored;
    wake.connect(acceptor_.local_endpoint(), ignored);
    thread_.join();
}

std::string RecordingBackend::url() const {
    return "http://127.0.0.1:" + std::to_string(acceptor_.local_endpoint().port());
}

std::vector<RecordingBackend::Request> RecordingBackend::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

std::vector<std::string> RecordingBackend::requestLines() const {
    std::vector<std::string> lines;
    for (const Request& request : requests()) {
        lines.push_back(request.line);
    }
    return lines;
}

void RecordingBackend::serve() {
    while (!stopping_) {
        tcp::socket socket(io_);
        boost::system::error_code error;
        acceptor_.accept(socket, error);
        if (!error && !stopping_) {
            answer(std::move(socket));
        }
    }
}

/// A client that is killed in the middle of its request is no failure of the test's.
void RecordingBackend::answer(tcp::socket socket) try {
    const Request request = readRequest(socket);
    {
        const std::lock_guard lock(mutex_);
        requests_.push_back(request);
    }
    const std::lock_guard gate(gate_);
    boost::asio::write(socket, boost::asio::buffer(responseTo(request)));
} catch (const boost::system::system_error&) {
}

std::string RecordingBackend::responseTo(const Request& request) const {
    const std::string status = request.line.starts_with("PATCH ") ? patchStatus_ : "200 OK";
    const std::string body = R"({"bug":)" + bug_ + R"(,"attachments":[],"comments":[]})";
    return "HTTP/1.1 " + status + "\r\nConnection: close\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

}  // namespace quernlight::standin::test
