#pragma once

#include <chrono>
#include <exception>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>

#include "host/health/outside_failure.hpp"
#include "host/process/user_error.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {

/// What becomes of an item whose session ended, when its agent is found to have reported nothing.
enum class WithoutReport { fails, goesBack };

/// A session has ended, but whether its agent had reported cannot be told while the backend is away.
class ReportUnknown : public std::runtime_error {
  public:
    explicit ReportUnknown(const std::string& reason, WithoutReport item = WithoutReport::fails)
        : std::runtime_error(reason), item_(item) {}

    WithoutReport item() const { return item_; }

  private:
    WithoutReport item_;
};

/// The backend gave nothing usable; the next time it may.
class BackendUnavailable : public UserError {
  public:
    BackendUnavailable(const std::string& sentence, std::string cause,
                       std::optional<std::chrono::seconds> retryAfter)
        : UserError(sentence), cause_(std::move(cause)), retryAfter_(retryAfter) {}

    /// What the sentence gives as the reason.
    const std::string& cause() const { return cause_; }

    /// How long the backend wants to be left alone, if it said so.
    const std::optional<std::chrono::seconds>& retryAfter() const { return retryAfter_; }

  private:
    std::string cause_;
    std::optional<std::chrono::seconds> retryAfter_;
};

/// Whoever has cancelled the work knows.
struct WorkCancelled {};

/// It is not known whether an agent has reported; reconciling its item finds out, and says so meanwhile.
struct ReportPending {
    std::string sentence{};  ///< why the session has ended
    WithoutReport item = WithoutReport::fails;
};

/// The backend is asked again.
struct BackendAway {
    std::string cause{};
    std::optional<std::chrono::seconds> retryAfter{};
};

/// No waiting mends it: it fails the bug whose session threw it, and ends the program otherwise.
struct PermanentFailure {
    std::string sentence{};
};

/// What an exception means. All but the last are transient: they are shown where the backend, the disk and
/// shortages are shown, and tried again.
using FailureMeaning =
    std::variant<WorkCancelled, OutsideFailure, DatabaseError, std::filesystem::filesystem_error,
                 ReportPending, BackendAway, PermanentFailure>;

/// The one place where exceptions are judged. `failure` is not null.
FailureMeaning meaningOf(const std::exception_ptr& failure);

/// What is to be done about a failure that ends a session.
enum class FailureKind {
    shortage,       ///< the system lacks what every start needs; put back, and starts pause
    unwritable,     ///< nothing can be stored; the item stays as it is until it is reconciled
    reportUnknown,  ///< the item fails unless the backend, once it answers, shows a report
    reportPending,  ///< the same, but the item goes back into its queue
    failsBug,
};

struct SessionPolicy {
    FailureKind kind = FailureKind::failsBug;
    std::string sentence{};  ///< the fact, for people

    bool operator==(const SessionPolicy&) const = default;
};

/// `failure` is not null.
SessionPolicy sessionPolicy(const std::exception_ptr& failure);

/// Why a session that ended on this was not seen to its end.
std::string reasonToReconcile(const SessionPolicy& policy);

}  // namespace quernlight::host
