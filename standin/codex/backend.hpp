#pragma once

#include <string>

namespace quernlight::standin::codex {

/// Talks HTTP to the stand-in backend as an agent's own tools would. Blocks; every failure, an answer other
/// than 2xx included, is a std::runtime_error with a sentence.
class Backend {
  public:
    Backend(std::string url, std::string token);

    /// The answer's body; `bugID` goes into the path.
    std::string fetchBug(const std::string& bugID) const;

    /// Falls back to the address for those who may not change the bug itself.
    void setStatus(const std::string& bugID, const std::string& statusJSON) const;

    void postComment(const std::string& bugID, const std::string& commentJSON) const;

  private:
    struct Answer {
        long status = 0;
        std::string body;
    };

    Answer send(const std::string& method, const std::string& path, const std::string& body) const;

    std::string url_;
    std::string token_;
};

}  // namespace quernlight::standin::codex
