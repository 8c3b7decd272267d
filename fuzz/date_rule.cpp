#include "fuzz/property.hpp"
#include "quernlight/platform/instant.hpp"

using namespace quernlight;

/// A text that is read as an instant is read as the same one after it was written.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto instant = parseInstant(fuzz::textOf(data, size));
    if (!instant) {
        return 0;
    }
    const std::string written = formatInstant(*instant);
    const std::chrono::year_month_day day(std::chrono::floor<std::chrono::days>(*instant));
    if (day.year() >= std::chrono::year(0) && day.year() <= std::chrono::year(9999)) {
        fuzz::require(written.size() == 24, "an instant is written in 24 characters");
        fuzz::require(parseInstant(written) == instant, "a written instant is read as itself");
    }
    return 0;
}
