#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace quernlight::host {

/// Writes to a descriptor on a thread of its own, so that a reader who takes nothing (a full pipe, a terminal
/// held by Ctrl-S) holds up nobody else. Texts are written whole and in order. While more wait than a bound
/// allows, further ones are left out, and that is said once there is room. A reader who has gone takes
/// everything; a full disk is waited for. Used on one executor.
class BackgroundWriter {
  public:
    /// The text that says how many were left out. Called on either thread; a function of its argument.
    using LossNotice = std::function<std::string(std::size_t lost)>;

    static constexpr std::size_t usualBound = 1 << 20;

    /// Called on the thread with the descriptor when a text was written.
    using AfterText = std::function<void(int descriptor)>;

    /// `descriptor` may be closed once this has been made. `bound`: in bytes; a single text may be larger.
    BackgroundWriter(int descriptor, LossNotice notice, std::size_t bound = usualBound,
                     AfterText afterText = {});
    BackgroundWriter(const BackgroundWriter&) = delete;
    BackgroundWriter& operator=(const BackgroundWriter&) = delete;

    /// Gives what waits a last moment, unless a wait has run out before, and leaves the rest unwritten.
    ~BackgroundWriter();

    /// Never waits.
    void write(std::string text);

    /// Whether all has been written.
    bool isIdle() const;

    /// Waits until all has been written, or `timeout` is over. Whether all has.
    bool waitUntilIdle(std::chrono::milliseconds timeout);

  private:
    struct State;

    static void work(const std::shared_ptr<State>& state);

    const std::shared_ptr<State> state_;  // shared with the thread, which may outlive this in a write
    bool ranOut_ = false;
};

}  // namespace quernlight::host
