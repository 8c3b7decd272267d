#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/asio/steady_timer.hpp>

#include "quernlight/platform/event_stream.hpp"
#include "quernlight/runner/runner_event.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::test {

/// A loop that lives as long as the program: a reader queue that has just woken a task may still be busy with
/// the task's loop when the task ends.
inline boost::asio::io_context& lastingLoop() {
    struct Loop {
        boost::asio::io_context io;
        // Opens the loop's own descriptors now and not at the first wait, so that a test can count
        // descriptors.
        boost::asio::steady_timer timer{io};
    };
    static Loop loop;
    return loop.io;
}

/// Runs the task on that loop.
template <class Result>
Result awaitResult(Task<Result> task) {
    return runTask(lastingLoop(), std::move(task));
}

/// What one listener has heard of a session, and ways to wait for more of it.
class EventLog {
  public:
    explicit EventLog(EventStream<RunnerEvent> stream) : stream_(std::move(stream)) {}

    /// Waits until everything that was output so far contains `text`, and returns it.
    const std::string& outputWith(std::string_view text) {
        while (output_.find(text) == std::string::npos) {
            if (!take()) {
                throw std::runtime_error("the stream ended after the output: " + output_);
            }
        }
        return output_;
    }

    /// Waits for that too, and returns when the last output so far arrived.
    Instant dateOf(std::string_view text) {
        outputWith(text);
        return lastOutputAt_;
    }

    /// Waits for `exited`.
    int exitCode() {
        while (!exitCode_) {
            if (!take()) {
                throw std::runtime_error("the stream ended without exited");
            }
        }
        return *exitCode_;
    }

    /// Waits for the end of the stream and returns everything that was output.
    const std::string& wholeOutput() {
        while (take()) {
        }
        return output_;
    }

    /// The kinds of the events so far, one letter each: Started, Output, Exited, Failed. Outputs in a row
    /// count as one, since the kernel chooses how they are cut.
    const std::string& kinds() const { return kinds_; }

  private:
    bool take() {
        const auto deadline = std::chrono::steady_clock::now() + generousBound;
        const std::optional<RunnerEvent> event = awaitResult(stream_.nextUntil(deadline));
        if (!event && !stream_.ended()) {
            throw std::runtime_error("no event came in time after the output: " + output_);
        }
        if (event) {
            note(*event);
        }
        return event.has_value();
    }

    void note(const RunnerEvent& event) {
        const char kind = "SOXF"[event.payload().index()];
        if (kind != 'O' || !kinds_.ends_with('O')) {
            kinds_.push_back(kind);
        }
        if (event.output()) {
            output_ += event.output()->bytes;
            lastOutputAt_ = event.output()->date;
        }
        if (event.exited()) {
            exitCode_ = event.exited()->exitCode;
        }
    }

    EventStream<RunnerEvent> stream_;
    std::string output_;
    Instant lastOutputAt_{};
    std::string kinds_;
    std::optional<int> exitCode_;
};

}  // namespace quernlight::test
