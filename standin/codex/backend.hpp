#pragma once

#include <string>

namespace quernlight::standin::codex {

/// The tools by which an agent reaches its bug. Blocks; every failure is a std::runtime_error with a
/// sentence.
class BugAccess {
  public:
    BugAccess() = default;
    BugAccess(const BugAccess&) = delete;
    BugAccess& operator=(const BugAccess&) = delete;
    virtual ~BugAccess() = default;

    /// JSON with the bug in its member "bug".
    virtual std::string fetchBug(const std::string& bugID) = 0;
    virtual void setStatus(const std::string& bugID, const std::string& statusJSON) = 0;
    virtual void postComment(const std::string& bugID, const std::string& commentJSON) = 0;
};

/// Talks HTTP to the stand-in backend as an agent's own tools would. An answer other than 2xx is a failure.
class Backend final : public BugAccess {
  public:
    Backend(std::string url, std::string token);

    std::string fetchBug(const std::string& bugID) override;

    /// Falls back to the address for those who may not change the bug itself.
    void setStatus(const std::string& bugID, const std::string& statusJSON) override;

    void postComment(const std::string& bugID, const std::string& commentJSON) override;

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
