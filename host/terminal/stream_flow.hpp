#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quernlight::host {

struct FlowLimits {
    std::size_t pausedAt = 100'000;                   ///< bytes that the client has not acknowledged
    std::size_t resumedAt = 5'000;                    ///< the same
    std::size_t mostHeld = std::size_t{1} << 20U;     ///< bytes that wait for a client
    std::size_t mostAtOnce = std::size_t{16} << 10U;  ///< of output in one message
};

/// What one client of a terminal is sent, and when: a picture, then the output behind it, as long as the
/// client acknowledges what it gets. One that stays behind is dropped to a fresh picture; what it holds is
/// bounded. Pure.
class StreamFlow {
  public:
    /// `begin` is the number of the next byte of output.
    explicit StreamFlow(std::uint64_t begin, FlowLimits limits = {}) : limits_(limits), heldFrom_(begin) {}

    /// The output went on with these bytes; `first` is the number of the first one.
    void wrote(std::uint64_t first, std::string_view bytes);

    /// The client has taken so many bytes altogether, those of pictures included.
    void acknowledged(std::uint64_t bytes);

    bool isPaused() const { return isPaused_; }
    bool wantsPicture() const { return needsPicture_ && !isPaused_; }

    /// Whether output can go on behind a picture of so much output.
    bool canGoOnBehind(std::uint64_t output) const { return output >= heldFrom_; }

    /// A picture of so much output, itself of `size` bytes, was sent. Where output cannot go on behind it
    /// another one is wanted.
    void sentPicture(std::uint64_t output, std::size_t size);

    struct Piece {
        std::uint64_t first = 0;
        std::string bytes{};

        bool operator==(const Piece&) const = default;
    };

    /// The output to send now; counts as sent.
    std::optional<Piece> next();

    std::size_t held() const { return held_.size(); }

  private:
    void countSent(std::size_t bytes);
    void forgetUpTo(std::uint64_t output);

    const FlowLimits limits_;
    std::string held_;
    std::uint64_t heldFrom_;  // the number of its first byte, or of the next one that comes
    std::uint64_t sent_ = 0, acknowledged_ = 0;
    bool needsPicture_ = true;
    bool isPaused_ = false;
};

}  // namespace quernlight::host
