#include "quernlight/runner/terminal_write_queue.hpp"

#include <cerrno>
#include <system_error>
#include <utility>

#include <unistd.h>

#include "quernlight/runner/runner_error.hpp"

namespace quernlight {

Task<void> TerminalWriteQueue::Write::taken() const {
    while (outcome_ == Outcome::pending) {
        co_await ended_.wait();
    }
    if (outcome_ == Outcome::closed) {
        throw PTYProcessError::sessionNotRunning();
    }
    if (outcome_ == Outcome::refused) {
        throw std::system_error(errorNumber_, std::generic_category());
    }
}

void TerminalWriteQueue::Write::end(Outcome outcome, int errorNumber) {
    errorNumber_ = errorNumber;
    outcome_ = outcome;
    ended_.notify();
}

std::shared_ptr<TerminalWriteQueue::Write> TerminalWriteQueue::add(std::string bytes) {
    auto write = std::make_shared<Write>(std::move(bytes));
    const std::lock_guard guard(lock_);
    if (!open_) {
        throw PTYProcessError::sessionNotRunning();
    }
    writes_.push_back(write);
    return write;
}

void TerminalWriteQueue::open() {
    const std::lock_guard guard(lock_);
    open_ = true;
}

bool TerminalWriteQueue::writeTo(int descriptor) {
    while (const auto write = front()) {
        const std::size_t left = write->bytes_.size() - write->written_;
        const ssize_t count =
            left == 0 ? 0 : ::write(descriptor, write->bytes_.data() + write->written_, left);
        if (count > 0 || left == 0) {
            write->written_ += static_cast<std::size_t>(count);
        } else if (count == 0 || errno == EAGAIN) {
            return true;
        } else if (errno != EINTR) {
            endFront(Write::Outcome::refused, errno);
            continue;
        }
        if (write->written_ == write->bytes_.size()) {
            endFront(Write::Outcome::taken);
        }
    }
    return false;
}

void TerminalWriteQueue::close() {
    std::deque<std::shared_ptr<Write>> ended;
    {
        const std::lock_guard guard(lock_);
        open_ = false;
        ended.swap(writes_);
    }
    for (const auto& write : ended) {
        write->end(Write::Outcome::closed);
    }
}

std::shared_ptr<TerminalWriteQueue::Write> TerminalWriteQueue::front() {
    const std::lock_guard guard(lock_);
    return writes_.empty() ? nullptr : writes_.front();
}

void TerminalWriteQueue::endFront(Write::Outcome outcome, int errorNumber) {
    std::shared_ptr<Write> write;
    {
        const std::lock_guard guard(lock_);
        write = std::move(writes_.front());
        writes_.pop_front();
    }
    write->end(outcome, errorNumber);
}

}  // namespace quernlight
