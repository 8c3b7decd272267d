#pragma once

#include <chrono>
#include <filesystem>
#include <memory>

#include "host/control/control_message.hpp"
#include "host/process/user_error.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// Nobody listens on the home's socket, so the request has reached nobody.
class OwnerNotRunning : public UserError {
  public:
    using UserError::UserError;
};

/// The owner went away, or took too long, before it answered.
class OwnerDidNotAnswer : public UserError {
  public:
    using UserError::UserError;
};

/// Beyond what the owner gives the backend.
constexpr std::chrono::minutes longestAnswer{15};

/// Sends a request to the owner of a home on a connection of its own, and returns what it answers, errors
/// included. Throws OwnerNotRunning or OwnerDidNotAnswer.
Task<ControlResponse> askOwner(std::filesystem::path home, ControlRequest request,
                               std::chrono::milliseconds timeout = longestAnswer);

/// Opens a channel with the owner of a home. Throws OwnerNotRunning, OwnerDidNotAnswer, and UserError with
/// the sentence of its refusal.
Task<std::unique_ptr<ControlChannel>> openChannel(std::filesystem::path home, std::string target);

}  // namespace quernlight::host
