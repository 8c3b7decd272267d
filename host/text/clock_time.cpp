#include "host/text/clock_time.hpp"

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

}  // namespace quernlight::host
