#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <utility>

#include <boost/asio/io_context.hpp>

#include "host/process/clock.hpp"

namespace quernlight::host::test {

/// A clock that goes on only when the test says so.
class SteppedClock final : public Clock {
  public:
    /// `settle` lets what was woken run until it waits again.
    explicit SteppedClock(std::function<void()> settle) : settle_(std::move(settle)) {}

    /// For what nothing but the io_context moves.
    explicit SteppedClock(boost::asio::io_context& io)
        : SteppedClock([&io] {
              io.restart();
              io.poll();
          }) {}

    Instant now() const override { return now_; }
    TimePoint steadyNow() const override { return steadyNow_; }

    Task<void> sleepUntil(TimePoint time) override {
        const std::shared_ptr<Sleepers> sleepers = sleepers_;  // which may outlive the clock
        if (time <= steadyNow_) {
            co_return;
        }
        const AsyncSignal wake;
        const Place place{.sleepers = *sleepers, .key = {time, sleepers->nextNumber++}};
        sleepers->waiting.emplace(place.key, wake);
        co_await wake.wait();
    }

    /// Both clocks go on by so much; who sleeps is woken at its own moment, in order.
    void advance(std::chrono::nanoseconds time) {
        const TimePoint end = steadyNow_ + time;
        settle_();
        while (!sleepers_->waiting.empty() && sleepers_->waiting.begin()->first.first <= end) {
            const auto first = sleepers_->waiting.extract(sleepers_->waiting.begin());
            goTo(first.key().first);
            first.mapped().notify();
            settle_();
        }
        goTo(end);
    }

    /// The civil time alone is set, forwards or back.
    void setBy(std::chrono::nanoseconds time) { now_ += std::chrono::duration_cast<Instant::duration>(time); }

    /// How many sleep.
    std::size_t sleepers() const { return sleepers_->waiting.size(); }

  private:
    using Key = std::pair<TimePoint, std::size_t>;  // the number keeps the order of who sleeps as long

    struct Sleepers {
        std::map<Key, AsyncSignal> waiting;
        std::size_t nextNumber = 0;
    };

    /// Leaves however the wait ends.
    struct Place {
        Sleepers& sleepers;
        Key key;

        ~Place() { sleepers.waiting.erase(key); }
    };

    void goTo(TimePoint time) {
        now_ += std::chrono::duration_cast<Instant::duration>(time - steadyNow_);
        steadyNow_ = time;
    }

    const std::function<void()> settle_;
    const std::shared_ptr<Sleepers> sleepers_ = std::make_shared<Sleepers>();
    Instant now_ = parseInstant("2026-03-04T05:06:07Z").value();
    TimePoint steadyNow_ = std::chrono::steady_clock::now();
};

}  // namespace quernlight::host::test
