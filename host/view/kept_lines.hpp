#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

namespace quernlight::host {

/// The last lines of what was told while something else was shown; the earlier ones are counted.
class KeptLines {
  public:
    static constexpr std::size_t most = 100;

    void add(std::string line) {
        lines_.push_back(std::move(line));
        if (lines_.size() > most) {
            lines_.pop_front();
            ++dropped_;
        }
    }

    /// Oldest first, below one that says how many are missing.
    std::vector<std::string> lines() const {
        std::vector<std::string> all;
        if (dropped_ > 0) {
            all.push_back("Of what was told, the first " + std::to_string(dropped_) +
                          " lines are not kept; run --log-file FILE keeps all.");
        }
        all.insert(all.end(), lines_.begin(), lines_.end());
        return all;
    }

  private:
    std::deque<std::string> lines_;
    std::size_t dropped_ = 0;
};

}  // namespace quernlight::host
