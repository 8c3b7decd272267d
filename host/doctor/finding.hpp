#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quernlight::host {

enum class Verdict : std::uint8_t {
    ok,
    warning,  ///< bugs are worked on, but perhaps not as meant
    stops,    ///< no bug gets through
};

/// "ok", "warning", "stops".
std::string_view nameOf(Verdict verdict);

/// What one check has shown.
struct Finding {
    std::string check{};  ///< what was looked at, in a word or two
    Verdict verdict = Verdict::ok;
    std::string seen{};    ///< one sentence
    std::string advice{};  ///< what to do; empty when nothing is to be done

    bool operator==(const Finding&) const = default;
};

using Findings = std::vector<Finding>;

/// What two checks saw alike is told by the first of them alone; the other one names it. Pure.
Findings withoutRepetitions(Findings findings);

/// A check that has shown one thing.
Findings only(Finding finding);

/// Whether one of them says that no bug gets through.
bool stopsTheRoad(const Findings& findings);

}  // namespace quernlight::host
