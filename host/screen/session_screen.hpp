#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/screen/screen_model.hpp"
#include "quernlight/platform/async_signal.hpp"
#include "quernlight/platform/background_executor.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// The screen of one session: fed with its output by whoever has it, drawn on a background thread. Feeding
/// never waits for the drawing. In a flood that the drawing cannot keep up with, old output is left out and
/// counted (`ScreenPicture::skipped`); what it would have changed is not known until the agent draws anew: on
/// an erased screen, or as `Redraw` has it do.
class SessionScreen {
  public:
    static constexpr std::size_t mostBacklog = std::size_t{8} << 20U;  ///< bytes that wait to be drawn
    static constexpr std::size_t keptOfBacklog = std::size_t{1} << 20U;
    static constexpr std::size_t sliceBytes = std::size_t{256} << 10U;

    /// Both are called on the executor of `run`, and may be empty.
    struct Observer {
        std::function<void(std::string answers)> answers{};  ///< what the terminal answers the agent
        std::function<void()> drawn{};                       ///< there is a new picture
    };

    /// `thread` outlives this object.
    SessionScreen(BackgroundExecutor& thread, TerminalSize size, Observer observer);

    /// Draws what is fed until it is cancelled. This object outlives it.
    Task<void> run();

    /// From any thread.
    void feed(std::string_view bytes);

    /// The agent's terminal has that size now. From any thread.
    void resize(TerminalSize size);

    /// The newest picture. From any thread.
    std::shared_ptr<const ScreenPicture> picture() const;

    /// The newest picture, but only once all that was fed so far is on it, and nothing of it was left out
    /// that may still count: what keys are decided on. From any thread.
    std::shared_ptr<const ScreenPicture> pictureOfAll() const;

    /// Whether the newest picture lacks output that may still count. From any thread.
    bool lacksOutput() const;

    /// Whether it does, and the agent may draw anew in a moment. From any thread.
    bool awaitsRedraw() const;

    /// What became of the wish that the agent draws anew after so many bytes were left out. From any thread.
    void noteRedraw(std::uint64_t skipped, bool isDrawn);

    /// How many bytes were fed; the picture shows all when its `bytes` are as many.
    std::uint64_t fedBytes() const;

    /// Of what is drawn so far, and its scroll-back.
    Task<ScreenPainting> painting();

    /// The lines that scrolled off the top, oldest first.
    Task<std::vector<std::string>> scrollBack();

  private:
    struct Slice {
        std::uint64_t skipped = 0;  // before the bytes
        std::optional<TerminalSize> size{};
        std::string bytes{};
    };

    bool lacksMoreThan(std::uint64_t skipped) const;
    std::optional<Slice> takeSlice();
    std::string draw(const Slice& slice);

    BackgroundExecutor& thread_;
    Observer observer_;
    AsyncSignal news_;
    ScreenModel model_;  // used on the thread only
    mutable std::mutex mutex_;
    Slice waiting_;
    std::uint64_t fed_ = 0;
    std::uint64_t redrawn_ = 0;  // after so many skipped bytes the agent has drawn anew,
    std::uint64_t refused_ = 0;  // or was seen not to
    std::shared_ptr<const ScreenPicture> picture_;
};

}  // namespace quernlight::host
