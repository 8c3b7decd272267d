#include "host/view/background_writer.hpp"

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <mutex>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds lastMoment{1000};
constexpr std::chrono::seconds pauseBeforeRetry{1};

enum class Progress { written, takesNothingNow, passingTrouble, readerHasGone };

Progress progressOf(int error, bool isTerminal) {
    switch (error) {
        case EINTR:
            return Progress::written;
        case EAGAIN:
            return Progress::takesNothingNow;
        case EPIPE:
        case EBADF:
        case EINVAL:
        case ENXIO:
            return Progress::readerHasGone;
        case EIO:  // of a terminal: it has hung up
            return isTerminal ? Progress::readerHasGone : Progress::passingTrouble;
        default:
            return Progress::passingTrouble;
    }
}

/// Writes a piece and takes it off the text.
Progress writePiece(int descriptor, bool isTerminal, std::string_view& text) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count < 0) {
        return progressOf(errno, isTerminal);
    }
    text.remove_prefix(static_cast<std::size_t>(count));
    return Progress::written;
}

/// While it lives, threads that begin are left alone by signals; SIGTTOU is how the kernel stops a program in
/// the background that writes.
class SignalsForOthers {
  public:
    SignalsForOthers() {
        sigset_t signals;
        sigfillset(&signals);
        sigdelset(&signals, SIGTTOU);
        pthread_sigmask(SIG_SETMASK, &signals, &before_);
    }
    SignalsForOthers(const SignalsForOthers&) = delete;
    SignalsForOthers& operator=(const SignalsForOthers&) = delete;
    ~SignalsForOthers() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_{};
};

}  // namespace

struct BackgroundWriter::State {
    State(int shared, LossNotice lossNotice, std::size_t mostWaiting, AfterText then)
        : descriptor(fcntl(shared, F_DUPFD_CLOEXEC, 0)),
          isTerminal(isatty(shared) != 0),
          notice(std::move(lossNotice)),
          bound(mostWaiting),
          afterText(std::move(then)) {}

    void queue(std::string text) {
        waiting += text.size();
        texts.push_back(std::move(text));
    }

    void tellLoss() {
        if (lost > 0) {
            queue(notice(std::exchange(lost, 0)));
        }
    }

    /// Waits for the next text; nullptr when there will be none. A queued text stays where it is until it is
    /// dropped.
    const std::string* next() {
        std::unique_lock guard(lock);
        changed.wait(guard, [this] { return !texts.empty() || closed; });
        return texts.empty() ? nullptr : &texts.front();
    }

    void dropFirst() {
        const std::lock_guard guard(lock);
        waiting -= texts.front().size();
        texts.pop_front();
        if (texts.empty()) {
            tellLoss();
        }
        changed.notify_all();
    }

    /// Returns whether to go on trying.
    bool rest() {
        std::unique_lock guard(lock);
        return !changed.wait_for(guard, pauseBeforeRetry, [this] { return closed; });
    }

    void write(std::string_view text) {
        while (!text.empty() && !readerHasGone) {
            const Progress progress = writePiece(descriptor.get(), isTerminal, text);
            if (progress == Progress::takesNothingNow) {
                pollfd room{.fd = descriptor.get(), .events = POLLOUT, .revents = 0};
                poll(&room, 1, -1);
            }
            readerHasGone =
                progress == Progress::readerHasGone || (progress == Progress::passingTrouble && !rest());
        }
    }

    const FileDescriptor descriptor;
    const bool isTerminal;
    const LossNotice notice;
    const std::size_t bound;
    const AfterText afterText;
    bool readerHasGone = false;  // the thread's own

    std::mutex lock;  // for all below; never held during a write
    std::condition_variable changed;
    std::deque<std::string> texts;  // the first is being written
    std::size_t waiting = 0;        // bytes
    std::size_t lost = 0;           // texts, since it was last said
    bool closed = false;
};

BackgroundWriter::BackgroundWriter(int descriptor, LossNotice notice, std::size_t bound, AfterText afterText)
    : state_(std::make_shared<State>(descriptor, std::move(notice), bound, std::move(afterText))) {
    const SignalsForOthers whileItBegins;
    std::thread([state = state_] { work(state); }).detach();  // nothing but the program's end stops a write
}

BackgroundWriter::~BackgroundWriter() {
    if (!ranOut_) {
        waitUntilIdle(lastMoment);
    }
    const std::lock_guard guard(state_->lock);
    state_->closed = true;
    state_->changed.notify_all();
}

void BackgroundWriter::write(std::string text) {
    const std::lock_guard guard(state_->lock);
    if (!state_->texts.empty() && state_->waiting + text.size() > state_->bound) {
        ++state_->lost;
        return;
    }
    state_->tellLoss();
    state_->queue(std::move(text));
    state_->changed.notify_all();
}

bool BackgroundWriter::isIdle() const {
    const std::lock_guard guard(state_->lock);
    return state_->texts.empty();
}

bool BackgroundWriter::waitUntilIdle(milliseconds timeout) {
    std::unique_lock guard(state_->lock);
    ranOut_ = !state_->changed.wait_for(guard, timeout, [this] { return state_->texts.empty(); });
    return !ranOut_;
}

void BackgroundWriter::work(const std::shared_ptr<State>& state) {
    while (const std::string* text = state->next()) {
        state->write(*text);
        if (state->afterText) {
            state->afterText(state->descriptor.get());
        }
        state->dropFirst();
    }
}

}  // namespace quernlight::host
