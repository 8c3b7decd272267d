#include "quernlight/platform/instant.hpp"

#include <array>
#include <cstdio>

namespace quernlight {
namespace {

using std::chrono::milliseconds;

/// Reads a text from its front; every step says whether it found what it looked for.
class Cursor {
  public:
    explicit Cursor(std::string_view text) : rest_(text) {}

    bool atEnd() const { return rest_.empty(); }

    bool literal(char expected) {
        if (rest_.empty() || rest_.front() != expected) {
            return false;
        }
        rest_.remove_prefix(1);
        return true;
    }

    std::optional<int> digit() {
        if (rest_.empty() || rest_.front() < '0' || rest_.front() > '9') {
            return std::nullopt;
        }
        const int value = rest_.front() - '0';
        rest_.remove_prefix(1);
        return value;
    }

    /// Exactly `count` digits whose value lies between the bounds.
    std::optional<int> number(int count, int least, int most) {
        int value = 0;
        for (int read = 0; read < count; ++read) {
            const auto next = digit();
            if (!next) {
                return std::nullopt;
            }
            value = value * 10 + *next;
        }
        return value >= least && value <= most ? std::optional(value) : std::nullopt;
    }

  private:
    std::string_view rest_;
};

std::optional<std::chrono::sys_days> readDate(Cursor& cursor) {
    const auto year = cursor.number(4, 0, 9999);
    if (!year || !cursor.literal('-')) {
        return std::nullopt;
    }
    const auto month = cursor.number(2, 1, 12);
    if (!month || !cursor.literal('-')) {
        return std::nullopt;
    }
    const auto day = cursor.number(2, 1, 31);
    if (!day) {
        return std::nullopt;
    }
    const std::chrono::year_month_day date{std::chrono::year(*year),
                                           std::chrono::month(static_cast<unsigned>(*month)),
                                           std::chrono::day(static_cast<unsigned>(*day))};
    return date.ok() ? std::optional(std::chrono::sys_days(date)) : std::nullopt;
}

std::optional<milliseconds> readClock(Cursor& cursor) {
    const auto hour = cursor.number(2, 0, 23);
    if (!hour || !cursor.literal(':')) {
        return std::nullopt;
    }
    const auto minute = cursor.number(2, 0, 59);
    if (!minute || !cursor.literal(':')) {
        return std::nullopt;
    }
    const auto second = cursor.number(2, 0, 59);
    if (!second) {
        return std::nullopt;
    }
    return std::chrono::hours(*hour) + std::chrono::minutes(*minute) + std::chrono::seconds(*second);
}

/// The fraction behind the seconds, zero when there is none; digits after the third are read and dropped.
std::optional<milliseconds> readFraction(Cursor& cursor) {
    if (!cursor.literal('.')) {
        return milliseconds(0);
    }
    auto digit = cursor.digit();
    if (!digit) {
        return std::nullopt;
    }
    milliseconds fraction(0);
    for (int unit = 100; digit; unit /= 10, digit = cursor.digit()) {
        fraction += milliseconds(*digit * unit);
    }
    return fraction;
}

std::optional<std::chrono::minutes> readZone(Cursor& cursor) {
    if (cursor.literal('Z')) {
        return std::chrono::minutes(0);
    }
    const bool east = cursor.literal('+');
    if (!east && !cursor.literal('-')) {
        return std::nullopt;
    }
    const auto hours = cursor.number(2, 0, 23);
    if (!hours || !cursor.literal(':')) {
        return std::nullopt;
    }
    const auto minutes = cursor.number(2, 0, 59);
    if (!minutes) {
        return std::nullopt;
    }
    const std::chrono::minutes offset = std::chrono::hours(*hours) + std::chrono::minutes(*minutes);
    return east ? offset : -offset;
}

}  // namespace

Instant currentInstant() {
    return std::chrono::floor<milliseconds>(std::chrono::system_clock::now());
}

std::string formatInstant(Instant instant) {
    const auto day = std::chrono::floor<std::chrono::days>(instant);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(instant - day);
    std::array<char, 64> text{};
    const int length = std::snprintf(
        text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
        static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
        static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
    return {text.data(), static_cast<std::size_t>(length)};
}

std::optional<Instant> parseInstant(std::string_view text) {
    Cursor cursor(text);
    const auto date = readDate(cursor);
    if (!date || !cursor.literal('T')) {
        return std::nullopt;
    }
    const auto clock = readClock(cursor);
    const auto fraction = clock ? readFraction(cursor) : std::nullopt;
    const auto zone = fraction ? readZone(cursor) : std::nullopt;
    if (!zone || !cursor.atEnd()) {
        return std::nullopt;
    }
    return Instant(*date) + *clock + *fraction - *zone;
}

}  // namespace quernlight
