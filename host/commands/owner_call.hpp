#pragma once

#include <filesystem>

#include <boost/json/value.hpp>

#include "host/control/control_client.hpp"

namespace quernlight::host {

/// That a command needs a running dispatcher, and there is none.
UserError noDispatcher(const std::filesystem::path& home);

UserError misunderstood();

/// What the owner of the home answers. Throws OwnerNotRunning, and UserError with the sentence of its
/// refusal.
Task<boost::json::value> ownersAnswer(std::filesystem::path home, ControlRequest request);

}  // namespace quernlight::host
