#pragma once

#include "host/dispatcher/chore.hpp"
#include "host/dispatcher/home_watch.hpp"
#include "host/dispatcher/orphan_watch.hpp"
#include "host/settings/live_settings.hpp"

namespace quernlight::host {

/// Notices what nobody tells: changed settings, orphans, a home that is away, memory that is free
/// again, and clocks that did not go on. Used on the dispatcher's executor.
class PeriodicLooks {
  public:
    PeriodicLooks(ChoreContext& context, LiveSettings& settings, OrphanWatch& orphans)
        : context_(context),
          services_(context.services),
          settings_(settings),
          orphans_(orphans),
          home_(context) {}

    /// Until it is cancelled.
    Task<void> run();

    /// The same for the clocks alone, since whatever waits for the disk or the backend looks too seldom.
    Task<void> watchClocks();

  private:
    Task<void> lookAround();
    Task<void> refreshSettings();

    ChoreContext& context_;
    SessionServices& services_;
    LiveSettings& settings_;
    OrphanWatch& orphans_;
    HomeWatch home_;
};

}  // namespace quernlight::host
