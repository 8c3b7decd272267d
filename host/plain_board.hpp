#pragma once

#include <map>
#include <ostream>
#include <string>

#include "host/progress_board.hpp"

namespace quernlight::host {

/// One line per change of stage, for files and pipes.
class PlainBoard final : public ProgressBoard {
  public:
    explicit PlainBoard(std::ostream& stream) : stream_(stream) {}

    void show(const BugProgress& progress) override;
    void note(const std::string& sentence) override;

  private:
    std::ostream& stream_;
    std::map<std::string, std::string> stages_;  // last one said, by bug
};

}  // namespace quernlight::host
