#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "quernlight/platform/task.hpp"

namespace quernlight::host {

enum class ServiceErrorCode {
    notFound,           ///< no such bug, mapping or setting
    ambiguous,          ///< several bugs' ids begin so
    refused,            ///< not while the item is as it is
    needsConfirmation,  ///< done once the request says that a person has confirmed it
    busy,               ///< another process owns the home
    invalid,            ///< a parameter that is not allowed
    unavailable,        ///< the home or its queue cannot be used
    backendFailed,      ///< the backend cannot be reached, or refuses
};

/// The code's name for programs: "not_found".
std::string_view nameOf(ServiceErrorCode code);

/// Nothing for a name that this version does not know.
std::optional<ServiceErrorCode> parseServiceErrorCode(std::string_view name);

/// Why an operation of the service was not done, with one sentence for people. Nothing was changed then,
/// unless the queue itself failed in the middle of a change (unavailable).
class ServiceError : public std::runtime_error {
  public:
    ServiceError(ServiceErrorCode code, const std::string& sentence)
        : std::runtime_error(sentence), code_(code) {}

    ServiceErrorCode code() const { return code_; }

  private:
    ServiceErrorCode code_;
};

/// To be called while an exception is handled: throws the ServiceError that it is to whoever uses the
/// service, or the exception itself when it is no failure of the home (a cancellation).
[[noreturn]] void throwAsServiceError();

/// The work, whose failures are ServiceErrors.
template <class Result>
Task<Result> withServiceErrors(Task<Result> work) {
    try {
        co_return co_await std::move(work);
    } catch (...) {
        throwAsServiceError();
    }
}

}  // namespace quernlight::host
