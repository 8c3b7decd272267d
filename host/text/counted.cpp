#include "host/text/counted.hpp"

#include <array>

namespace quernlight::host {

std::string counted(std::int64_t count, std::string_view one, std::string_view several) {
    const std::string many = several.empty() ? std::string(one) + "s" : std::string(several);
    return std::to_string(count) + " " + (count == 1 ? std::string(one) : many);
}

std::string_view byCount(std::int64_t count, std::string_view one, std::string_view several) {
    return count == 1 ? one : several;
}

std::string sizeText(std::uint64_t bytes) {
    constexpr std::uint64_t step = 1024;
    constexpr std::array<std::string_view, 4> units{"KiB", "MiB", "GiB", "TiB"};
    if (bytes < step) {
        return counted(static_cast<std::int64_t>(bytes), "byte");
    }
    std::size_t unit = 0;
    std::uint64_t tenths = bytes * 10 / step;
    while (tenths >= step * 10 && unit + 1 < units.size()) {
        tenths /= step;
        ++unit;
    }
    const std::string rest = tenths % 10 == 0 || tenths >= 1000 ? "" : "." + std::to_string(tenths % 10);
    return std::to_string(tenths / 10) + rest + " " + std::string(units[unit]);
}

std::string withoutDigits(std::string text) {
    std::erase_if(text, [](char byte) { return byte >= '0' && byte <= '9'; });
    return text;
}

}  // namespace quernlight::host
