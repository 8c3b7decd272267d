#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace quernlight {

/// A point in time to the millisecond, which is what the database and the backend keep; so a value that was
/// stored and read again equals the one it came from. The functions below may be called from any thread.
using Instant = std::chrono::sys_time<std::chrono::milliseconds>;

/// The wall clock, now.
Instant currentInstant();

/// ISO 8601 internet date-time in UTC with milliseconds, 24 characters for the years 0 to 9999:
/// 2026-03-04T05:06:07.890Z.
std::string formatInstant(Instant instant);

/// Reads an ISO 8601 internet date-time (the profile of RFC 3339 with upper-case T and Z): four-digit year,
/// "T", seconds, an optional fraction of one or more digits of which three count, and "Z" or an offset with a
/// colon. Nothing for any other text or a date that the calendar does not have.
std::optional<Instant> parseInstant(std::string_view text);

/// `duration` in seconds as a floating-point number; what the rules that count in seconds compare.
template <class Rep, class Period>
double secondsOf(std::chrono::duration<Rep, Period> duration) {
    return std::chrono::duration<double>(duration).count();
}

}  // namespace quernlight
