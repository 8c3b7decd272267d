#pragma once

#include <csignal>

namespace quernlight::host {

/// Holds SIGINT, SIGTERM and SIGHUP back while it lives, but for the times when `runWithSignals` listens to
/// them: what must be cleaned up is, before such a signal ends the program. For the main thread.
class HeldSignals {
  public:
    HeldSignals();
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
    ~HeldSignals();

  private:
    sigset_t before_{};
};

/// Lets those signals through while it lives, whether or not they are held.
class ReleasedSignals {
  public:
    ReleasedSignals();
    ReleasedSignals(const ReleasedSignals&) = delete;
    ReleasedSignals& operator=(const ReleasedSignals&) = delete;
    ~ReleasedSignals();

  private:
    sigset_t before_{};
};

}  // namespace quernlight::host
