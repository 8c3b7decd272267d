#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/live/live_choice.hpp"
#include "host/service/dispatch_service.hpp"

namespace quernlight::host {

/// What an operation has come to, for the person.
struct LiveOutcome {
    std::string sentence{};
    bool isTrouble = false;                  ///< it was not done
    std::optional<LiveQuestion> question{};  ///< it is done once the person says yes
};

/// In front of which bug one goes that moves past its neighbour (see LiveAction), in the queue as it is now;
/// empty: to the end. Nothing where the two are neighbours no more: what the person saw has changed. Pure.
std::optional<std::string> placeOf(const LiveWish& move, const std::vector<QueueEntry>& queue);

/// Has the service do what the person wishes; `attach` and `leave` are the view's own. Failures are outcomes.
Task<LiveOutcome> done(LiveWish wish, DispatchService& service, std::filesystem::path home);

}  // namespace quernlight::host
