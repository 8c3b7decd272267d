#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include <sys/types.h>

#include "host/doctor/examination.hpp"

namespace quernlight::host {

Task<Findings> checkHome(const Examined& examined);
Task<Findings> checkDisk(const Examined& examined);
Task<Findings> checkOwner(const Examined& examined);

/// What is known of the place of a dispatch home.
struct HomeFacts {
    std::filesystem::path home{};
    bool exists = false;
    bool isDirectory = false;
    bool isOurs = false;      ///< belongs to this user
    bool isWritable = false;  ///< or, where there is none, can be made
    mode_t mode = 0;
};

Finding homeFinding(const HomeFacts& facts);

/// `free` bytes at the home.
Finding diskFinding(std::uintmax_t free);

/// The directory for temporary files that the place lies in, in which agents may write from within their
/// sandbox; nothing when it lies elsewhere.
std::optional<std::filesystem::path> sandboxWritableAround(const std::filesystem::path& place,
                                                           const EnvironmentMap& environment);

/// That agents may write there, as a warning.
Finding writableBySandbox(const std::string& check, const std::filesystem::path& place,
                          const std::filesystem::path& around);

/// The place itself, or the nearest directory above it that is there.
std::filesystem::path nearestDirectory(const std::filesystem::path& place);

}  // namespace quernlight::host
