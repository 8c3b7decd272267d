#pragma once

#include <chrono>
#include <cstdint>

namespace quernlight::host {

/// What is known of an agent's screen at one look.
struct RedrawSight {
    std::uint64_t written = 0;  ///< bytes of the agent's, in all
    std::uint64_t skipped = 0;  ///< of them, in the picture
    bool lacksOutput = false;   ///< the picture may be incomplete, see SessionScreen
    bool isAllDrawn = true;     ///< else the picture stays behind what was written
};

struct RedrawTimes {
    std::chrono::milliseconds rest{300};       ///< without output: it has followed the other size
    std::chrono::milliseconds quiet{1000};     ///< and its own size, if it did not erase the screen
    std::chrono::milliseconds patience{3000};  ///< for each size
    int tries = 3;
    std::chrono::milliseconds again{60000};  ///< after a refusal: what worked then may rest now
};

enum class RedrawStep {
    wait,
    giveOtherSize,  ///< the terminal gets another row
    giveOwnSize,
    isDrawn,   ///< the screen is whole, though it was not erased
    isRefused  ///< it does not draw anew; it is asked again a minute later, or when more output is left out
};

/// Has an agent draw its screen anew after output was left out of it: programs do when their terminal's size
/// changes, and mostly erase the screen then. Pure.
class Redraw {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit Redraw(RedrawTimes times = {}) : times_(times) {}

    RedrawStep next(const RedrawSight& seen, TimePoint now);

    /// Whether it is to be asked for the next step soon, also when nothing more is written.
    bool isUnderWay() const { return stage_ == Stage::otherSize || stage_ == Stage::ownSize || isWanted_; }

  private:
    enum class Stage { none, otherSize, ownSize, refused };

    RedrawStep begin(const RedrawSight& seen, TimePoint now);
    RedrawStep judge(const RedrawSight& seen, TimePoint now);
    RedrawStep reach(Stage stage, RedrawStep step, TimePoint now);

    const RedrawTimes times_;
    Stage stage_ = Stage::none;
    bool isWanted_ = false;            // once all is drawn
    TimePoint since_{};                // of the stage
    TimePoint wroteAt_{};              // last
    std::uint64_t written_ = 0;        // by then
    std::uint64_t writtenBefore_ = 0;  // the stage
    std::uint64_t skipped_ = 0;        // when it was asked
    int tries_ = 0;
};

}  // namespace quernlight::host
