#pragma once

#include <functional>
#include <string>
#include <vector>

#include <boost/json/object.hpp>

#include "host/control/control_router.hpp"
#include "host/health/start_pauses.hpp"
#include "host/process/clock.hpp"

namespace quernlight::host {

/// What people may wish of the starts of bugs. Used on one executor; outlives the requests.
class StartResource {
  public:
    struct Uses {
        StartPauses& pauses;
        Clock& clock;
        bool triesAgain = true;         ///< else nothing is tried twice in this run
        std::function<void()> lookNow;  ///< makes the loop look at once what may be started
        /// Stores that a person has said so. Must not throw.
        std::function<Task<void>(Instant at)> remember = [](Instant) -> Task<void> { co_return; };
    };

    explicit StartResource(Uses uses) : uses_(std::move(uses)) {}

    /// Offers, to people, POST /v1/starts/unpause: ends the pauses of starts, and answers {"ended":[...]}
    /// with "repository" (null: of all starts), "cause" and "seconds" of each that was in force.
    void offerOn(ControlRouter& router);

  private:
    Task<ControlResponse> unpause();

    const Uses uses_;
};

/// What a person is told of that answer, a line for each.
std::string endedPausesText(const boost::json::object& answer);

}  // namespace quernlight::host
