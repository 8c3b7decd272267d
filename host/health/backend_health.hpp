#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>

#include "host/process/clock.hpp"

namespace quernlight::host {

/// What is known of the backend, from everything that asks it. Tells once when it stops answering and once
/// when it answers again, whoever notices. Used on one executor.
class BackendHealth {
  public:
    /// Called with the trouble in one sentence, and with an empty text when it is over.
    using Listener = std::function<void(const std::string& trouble)>;
    using TimePoint = Clock::TimePoint;

    /// The backend is left alone no longer than this at a time, whatever it asks for.
    static constexpr std::chrono::minutes longestPause{10};

    /// `clock` outlives this.
    BackendHealth(const Clock& clock, Listener listener) : clock_(clock), listener_(std::move(listener)) {}

    void answered();

    /// A request failed. True when that is the backend's trouble; false when its answer concerns only what
    /// was asked, which shows that it answers.
    bool failed(const std::exception& error);

    /// The backend wants to be left alone for so long from now on (Retry-After, RFC 9110 10.2.3); nothing
    /// when it did not say. `failed` heeds it by itself.
    void heed(const std::optional<std::chrono::seconds>& pause);

    /// From when on the backend wants to be asked again by whoever asks it regularly; may have passed.
    TimePoint askAgainAt() const { return askAgainAt_; }

    /// Whether its last answer was that it does not know the token (401, RFC 9110 15.5.2).
    bool refusesToken() const { return refusesToken_; }

    // Since the start, by whoever asked and told.
    std::uint64_t asked() const { return answers_ + failures_; }
    std::uint64_t failures() const { return failures_; }

    bool isWell() const { return trouble_.empty(); }
    const std::string& trouble() const { return trouble_; }

  private:
    void note(const std::string& trouble);

    const Clock& clock_;
    Listener listener_;
    std::string trouble_;
    bool refusesToken_ = false;
    std::uint64_t answers_ = 0, failures_ = 0;
    TimePoint askAgainAt_{};
};

}  // namespace quernlight::host
