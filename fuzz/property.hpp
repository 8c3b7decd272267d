#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace quernlight::fuzz {

/// Stops the fuzzer, which then keeps the input, when something that must hold of every input does not.
inline void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "An input for which this does not hold: %s\n", what);
        std::abort();
    }
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// The input's first line and the rest.
struct TwoTexts {
    std::string first;
    std::string second;
};

inline TwoTexts twoTextsOf(std::string_view input) {
    const auto end = input.find('\n');
    return {std::string(input.substr(0, end)),
            end == input.npos ? std::string() : std::string(input.substr(end + 1))};
}

}  // namespace quernlight::fuzz
