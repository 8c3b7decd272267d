#pragma once

#include <string_view>

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include "host/events/dispatch_event.hpp"

namespace quernlight::host {

/// Of every type that an event may be: "item_changed".
std::string_view typeName(const DispatchEvent& event);

/// "type", and what the event tells: "bug", and "event" as in a bug's history; "app", "title", "stage",
/// "stage_text", "detail" and "exit_code" of a bug's progress; "topic", "subject" and "sentence".
boost::json::object jsonOf(const DispatchEvent& event);

/// Throws Misread, also for a type that this version does not know.
DispatchEvent readEvent(const boost::json::value& value);

}  // namespace quernlight::host
