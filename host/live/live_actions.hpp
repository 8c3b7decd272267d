#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "host/live/live_choice.hpp"
#include "host/service/dispatch_service.hpp"

namespace quernlight::host {

/// What an operation has come to, for the person.
struct LiveOutcome {
    std::string sentence{};
    bool isTrouble = false;                  ///< it was not done
    std::optional<LiveQuestion> question{};  ///< it is done once the person says yes
};

/// Has the service do what the person wishes; `attach` and `leave` are the view's own. Failures are outcomes.
Task<LiveOutcome> done(LiveWish wish, DispatchService& service, std::filesystem::path home);

}  // namespace quernlight::host
