#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "quernlight/backend/http_session.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/platform/url.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// A notification that did not reach whom it was for; `what()` says why, in one sentence.
class DeliveryFailed : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Runs the command, whose first word PATH finds, with the line on standard input and just this environment;
/// what it prints is dropped. There is no limit of time; cancelling ends it. Throws DeliveryFailed unless it
/// ends with status 0, and std::system_error when it cannot be started.
Task<void> giveToCommand(std::vector<std::string> command, EnvironmentMap environment, std::string line);

/// Posts the line as application/json. Throws DeliveryFailed for a status that is no success, and
/// TransportError. The address, which may hold a secret of its own, is in neither.
Task<void> postTo(Url webhook, std::string line, HttpSession& http);

}  // namespace quernlight::host
