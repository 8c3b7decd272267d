#include "host/service/event_record.hpp"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "host/service/event_json.hpp"
#include "host/service/json_fields.hpp"

namespace quernlight::host {

namespace json = boost::json;

EventRecord::EventRecord(Instant start, Limits limits)
    : limits_(limits),
      last_(static_cast<std::uint64_t>(
          std::chrono::duration_cast<std::chrono::microseconds>(start.time_since_epoch()).count())) {}

void EventRecord::add(const DispatchEvent& event, Instant time) {
    json::object told{{"number", ++last_}, {"time", formatInstant(time)}};
    for (auto& [name, value] : jsonOf(event)) {
        told[name] = std::move(value);
    }
    texts_.push_back(std::make_shared<const std::string>(json::serialize(told)));
    bytes_ += texts_.back()->size();
    while (texts_.size() > limits_.events || bytes_ > limits_.bytes) {
        bytes_ -= texts_.front()->size();
        texts_.pop_front();
    }
}

std::string resetText(std::uint64_t last) {
    return json::serialize(json::object{{"number", last}, {"type", "reset"}});
}

/// A dispatcher of another version may tell events that are not known here.
RecordedEvent readRecordedEvent(std::string_view text) {
    boost::system::error_code error;
    const json::value value = json::parse(text, error);
    if (error) {
        throw Misread("it is not JSON");
    }
    RecordedEvent recorded{.number = static_cast<std::uint64_t>(JsonFields(value).integer("number"))};
    try {
        recorded.event = readEvent(value);
    } catch (const Misread&) {
        recorded.event.reset();
    }
    return recorded;
}

}  // namespace quernlight::host
