#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quernlight::host {

/// "1 bug", "2 bugs": a number and what it counts. Without `several` that is `one` with an "s". Pure.
std::string counted(std::int64_t count, std::string_view one, std::string_view several = "");

/// The first of both for one, the second for any other number: counted(n, "bug") + byCount(n, " is", " are").
std::string_view byCount(std::int64_t count, std::string_view one, std::string_view several);

/// "812 bytes", "4 KiB", "3.1 MiB". Pure.
std::string sizeText(std::uint64_t bytes);

/// The text without its digits, for comparing two in which something is counted. Pure.
std::string withoutDigits(std::string text);

}  // namespace quernlight::host
