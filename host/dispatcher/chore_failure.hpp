#pragma once

#include <chrono>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>

#include "host/health/outside_failure.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {

/// Whoever has cancelled the work knows.
struct WorkCancelled {};

/// It is not known whether an agent has reported; reconciling its item finds out, and says so meanwhile.
struct ReportPending {};

/// The backend gave nothing usable; it is asked again.
struct BackendAway {
    std::string cause{};
    std::optional<std::chrono::seconds> retryAfter{};
};

/// No waiting mends it.
struct ProgramFails {};

/// What a round of the dispatcher's work threw, by what it means. All but the last are transient: they are
/// shown where the backend, the disk and shortages are shown, and the next round tries again.
using ChoreFailure =
    std::variant<WorkCancelled, OutsideFailure, DatabaseError, std::filesystem::filesystem_error,
                 ReportPending, BackendAway, ProgramFails>;

/// What `failure`, which is not null, means.
ChoreFailure choreFailure(const std::exception_ptr& failure);

}  // namespace quernlight::host
