#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/events/dispatch_event.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight::host {

/// The latest events of a running dispatcher as JSON, numbered, for those who come back for what they have
/// missed. Numbers only grow, also from one dispatcher of a home to the next (unless the clock was set back
/// between the two): its first is the time of its start in microseconds. What is too old is forgotten. Used
/// on one executor.
class EventRecord {
  public:
    struct Limits {
        std::size_t events = 10'000;
        std::size_t bytes = std::size_t{8} << 20U;
    };

    explicit EventRecord(Instant start) : EventRecord(start, Limits()) {}
    EventRecord(Instant start, Limits limits);

    void add(const DispatchEvent& event, Instant time);

    /// The number of the latest event.
    std::uint64_t last() const { return last_; }

    /// Whether all that came after the number is still known here.
    bool holdsAllAfter(std::uint64_t number) const {
        return number <= last_ && last_ - number <= texts_.size();
    }

    /// The event after that number, which must be held and not the last.
    std::shared_ptr<const std::string> after(std::uint64_t number) const {
        return texts_.at(texts_.size() - static_cast<std::size_t>(last_ - number));
    }

  private:
    const Limits limits_;
    std::uint64_t last_;
    std::deque<std::shared_ptr<const std::string>> texts_;  // the oldest first
    std::size_t bytes_ = 0;
};

/// What a client is told in place of events that are not known any more: those after this number are told
/// from here on; how all stands now is to be read anew.
std::string resetText(std::uint64_t last);

/// What one of those texts tells.
struct RecordedEvent {
    std::uint64_t number = 0;
    std::optional<DispatchEvent> event{};  ///< absent: some are not known any more, or this one not here
};

/// Throws Misread.
RecordedEvent readRecordedEvent(std::string_view text);

}  // namespace quernlight::host
