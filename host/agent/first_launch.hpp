#pragma once

namespace quernlight::host {

/// Lets one agent alone make its databases where there are none: released agents that are started together
/// in a fresh home get in each other's way and end. Used on one executor.
class FirstLaunch {
  public:
    /// `isNeeded`: the agent's home holds no databases yet.
    explicit FirstLaunch(bool isNeeded) : isOver_(!isNeeded) {}

    /// Whether an agent may be launched now: the first, and everyone once one has its prompt.
    bool take() {
        const bool mayGo = isOver_ || !isTaken_;
        isTaken_ = true;
        return mayGo;
    }

    /// An agent has its prompt.
    void succeeded() { isOver_ = true; }

    /// An agent has ended, or was not launched: the next one is the first, unless one has succeeded.
    void ended() { isTaken_ = false; }

  private:
    bool isOver_;
    bool isTaken_ = false;
};

}  // namespace quernlight::host
