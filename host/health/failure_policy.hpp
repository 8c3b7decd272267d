#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace quernlight::host {

/// A session went wrong, but whether its agent had reported cannot be told while the backend is away.
class ReportUnknown : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What is to be done about a failure.
enum class FailureKind {
    shortage,       ///< transient: the system lacks what every start needs; put back, and starts pause
    unwritable,     ///< transient: nothing can be stored; the item stays as it is until it is reconciled
    reportUnknown,  ///< transient: the item fails unless the backend, once it answers, shows a report
    failsBug,       ///< permanent
    endsProgram,    ///< permanent, and met outside of any bug's session
};

/// Where a failure was met.
enum class FailureScope { session, program };

struct FailurePolicy {
    FailureKind kind = FailureKind::endsProgram;
    std::string sentence{};  ///< the fact, for people

    bool operator==(const FailurePolicy&) const = default;
};

/// The one place where exceptions that end a session, or a round of the program's own work, are judged.
/// `failure` is not null.
FailurePolicy failurePolicy(const std::exception_ptr& failure, FailureScope scope);

/// Why a session that ended on this was not seen to its end.
std::string reasonToReconcile(const FailurePolicy& policy);

}  // namespace quernlight::host
