#pragma once

#include <stdexcept>

#include "quernlight/platform/uuid.hpp"

namespace quernlight {

/// Thrown by a runner when it has no live session of the given id.
class RunnerError : public std::runtime_error {
  public:
    enum class Case { missingSession };

    static RunnerError missingSession(const Uuid& sessionID);

    Case kind() const { return Case::missingSession; }
    const Uuid& sessionID() const { return sessionID_; }

  private:
    explicit RunnerError(const Uuid& sessionID);

    Uuid sessionID_;
};

}  // namespace quernlight
