#pragma once

#include <chrono>
#include <cstddef>
#include <optional>

namespace quernlight::host {

/// How many bugs to ask for where a backend lists the newest ones up to a limit: twice as many for as long as
/// the list comes back full. A limit that gets no answer (it would be too large or take too long, or the
/// backend does not allow it) when a lesser one does is left alone for an hour. A decision of numbers and
/// times only.
class ListLimit {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// `first` is asked for at first, and must be above 0.
    explicit ListLimit(int first) : first_(first), asked_(first) {}

    /// A look at the list begins, with what was enough last.
    void begin(TimePoint now);

    /// What to ask for next; once the look is done, what was enough.
    int asked() const { return asked_; }
    bool isDone() const { return isDone_; }

    /// The list came, with so many bugs.
    void answered(std::size_t returned);

    /// The list did not come. False when there is nothing lesser to ask for.
    bool failed(TimePoint now);

    /// The limit at which no more bugs came than at a lesser one though there may be more; nothing when all
    /// have been listed.
    std::optional<int> cutAt() const { return cutAt_; }

    /// Whether the first limit is not enough.
    bool isLong() const { return asked_ > first_; }

  private:
    bool mayGrow() const;

    const int first_;
    int asked_;
    int tooMuch_ = 0;  // 0 when nothing is
    TimePoint tooMuchSince_{};
    std::optional<std::size_t> returned_;  // in this look
    std::optional<int> cutAt_;
    bool isDone_ = false;
};

}  // namespace quernlight::host
