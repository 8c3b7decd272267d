#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace quernlight {

// The stored texts of the queue's enumerations. Each enumeration has `rawValue(case)`, a list of all its
// cases in declared order, and a reader named for it that matches exactly, by case.

/// The case of `cases` whose raw value is `text`, or nothing.
template <class Enumeration, std::size_t count>
std::optional<Enumeration> caseOfRawValue(const std::array<Enumeration, count>& cases,
                                          std::string_view text) {
    for (const Enumeration candidate : cases) {
        if (rawValue(candidate) == text) {
            return candidate;
        }
    }
    return std::nullopt;
}

}  // namespace quernlight
