#include "host/text/clock_time.hpp"

#include <algorithm>
#include <array>
#include <ctime>

namespace quernlight::host {

std::string clockTime(Instant instant) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(instant);
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 16> text{};
    std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
    return text.data();
}

std::string secondsText(std::chrono::milliseconds duration) {
    const auto tenths = (std::max(duration.count(), std::chrono::milliseconds::rep{0}) + 50) / 100;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " s";
}

}  // namespace quernlight::host
