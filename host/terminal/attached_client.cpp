#include "host/terminal/attached_client.hpp"

#include <algorithm>
#include <utility>

#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/this_coro.hpp>

#include "host/process/caught_exception.hpp"
#include "host/process/task_set.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t keysAtOnce = 4096;
constexpr int mostPaintings = 20;  // in a row, of which none is new enough
constexpr std::chrono::milliseconds paintingInterval{10};
constexpr std::chrono::seconds longestFarewell{10};  // until a slow client has the last output

}  // namespace

AttachedClient::AttachedClient(Session session, ControlChannel& channel, Clock& clock)
    : session_(std::move(session)),
      terminal_(*session_.terminal),
      channel_(channel),
      clock_(clock),
      client_(terminal_.newClient()),
      flow_(terminal_.bytes()),
      listening_(terminal_.listen(*this)) {}

AttachedClient::~AttachedClient() {
    terminal_.clientLeft(client_);
}

void AttachedClient::wrote(std::uint64_t first, std::string_view bytes) {
    flow_.wrote(first, bytes);
    news_.notify();
}

Task<void> AttachedClient::run() {
    TaskSet tasks(co_await boost::asio::this_coro::executor, reportFailure);
    tasks.add("typing a person's keys", typeKeys());
    tasks.add("sending a terminal's output", send());
    const std::exception_ptr failure = co_await caughtException(receive());
    // What uses this must have ended also when this is cancelled.
    co_await boost::asio::this_coro::reset_cancellation_state(boost::asio::disable_cancellation());
    co_await tasks.end();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

Task<void> AttachedClient::receive() {
    while (auto frame = co_await channel_.receive()) {
        auto message = clientMessageIn(*frame);
        if (!message) {
            co_return co_await channel_.close(ControlChannel::Ending::wrongMessage);
        }
        take(std::move(*message));
    }
}

void AttachedClient::take(ClientMessage message) {
    if (const auto* taken = std::get_if<Acknowledgement>(&message)) {
        flow_.acknowledged(taken->bytes);
        news_.notify();
    } else if (const auto* sized = std::get_if<ClientSize>(&message)) {
        terminal_.clientSized(client_, sized->size);
    } else if (const auto* keys = std::get_if<Keys>(&message)) {
        terminal_.clientTyped(client_);
        keys_ += keys->bytes.substr(0, mostKeys - std::min(mostKeys, keys_.size()));
        keysToType_.notify();
    }
}

Task<void> AttachedClient::typeKeys() {
    while (true) {
        co_await keysToType_.wait();
        while (!keys_.empty()) {
            std::string some = keys_.substr(0, keysAtOnce);
            keys_.erase(0, some.size());
            co_await terminal_.typeKeys(std::move(some));
        }
    }
}

Task<void> AttachedClient::send() {
    while (isOpen_ && !terminal_.hasEnded()) {
        co_await sendWhatThereIs();
        if (isOpen_ && !terminal_.hasEnded()) {
            co_await news_.wait();
        }
    }
    const auto deadline = clock_.steadyNow() + longestFarewell;
    while (isOpen_ && !isAllSent() && clock_.steadyNow() < deadline) {
        co_await sendWhatThereIs();
        if (isOpen_ && !isAllSent()) {
            co_await clock_.waitUntil(news_, deadline);
        }
    }
    co_await sendEnd();
}

bool AttachedClient::isAllSent() const {
    return !flow_.wantsPicture() && !flow_.isPaused() && flow_.held() == 0;
}

Task<void> AttachedClient::sendWhatThereIs() {
    while (isOpen_) {
        if (flow_.wantsPicture()) {
            co_await sendPicture();
        } else if (toldSize_ != sizeNow()) {
            co_await sendSize();
        } else if (auto piece = flow_.next()) {
            TerminalMessage output = TerminalBytes{.number = piece->first, .bytes = std::move(piece->bytes)};
            co_await sendMessage(std::move(output));
        } else {
            co_return;
        }
    }
}

/// What is not drawn yet may not be held for this client; in a flood that goes on it is so every time.
Task<void> AttachedClient::sendPicture() {
    ScreenPainting painting = co_await terminal_.painting();
    for (int more = 1; more < mostPaintings && !flow_.canGoOnBehind(painting.bytes); ++more) {
        co_await clock_.sleepFor(paintingInterval);
        painting = co_await terminal_.painting();
    }
    toldSize_ = {.size = painting.size, .setsSize = sizeNow().setsSize};
    TerminalMessage begins = PictureBegins{.bug = session_.bug,
                                           .attempt = session_.attempt,
                                           .title = painting.title,
                                           .size = painting.size,
                                           .setsSize = toldSize_.setsSize,
                                           .byte = painting.bytes,
                                           .screenBegins = painting.scrollBack.size()};
    TerminalMessage picture =
        TerminalBytes{.number = painting.bytes, .bytes = painting.scrollBack + painting.screen};
    flow_.sentPicture(painting.bytes, painting.scrollBack.size() + painting.screen.size());
    co_await sendMessage(std::move(begins));
    co_await sendMessage(std::move(picture));
}

SizeChanged AttachedClient::sizeNow() const {
    return {.size = terminal_.size(), .setsSize = terminal_.sizes().isSetBy(client_)};
}

Task<void> AttachedClient::sendSize() {
    toldSize_ = sizeNow();
    TerminalMessage changed = toldSize_;
    co_await sendMessage(std::move(changed));
}

Task<void> AttachedClient::sendEnd() {
    if (isOpen_) {
        std::string sentence = co_await session_.endSentence();
        TerminalMessage ended = SessionEnded{.sentence = std::move(sentence)};
        co_await sendMessage(std::move(ended));
        co_await channel_.close(ControlChannel::Ending::done);
    }
}

Task<void> AttachedClient::sendMessage(TerminalMessage message) {
    if (isOpen_) {
        ControlFrame frame = frameOf(message);
        isOpen_ = co_await channel_.send(std::move(frame));
    }
}

}  // namespace quernlight::host
