#pragma once

#include <exception>
#include <functional>
#include <string>

namespace quernlight::host {

/// What is known of the backend, from everything that asks it. Tells once when it stops answering and once
/// when it answers again, whoever notices. Used on one executor.
class BackendHealth {
  public:
    /// Called with the trouble in one sentence, and with an empty text when it is over.
    using Listener = std::function<void(const std::string& trouble)>;

    explicit BackendHealth(Listener listener) : listener_(std::move(listener)) {}

    void answered();

    /// A request failed. True when that is the backend's trouble; false when its answer concerns only what
    /// was asked, which shows that it answers.
    bool failed(const std::exception& error);

    /// Whether its last answer was that it does not know the token (401, RFC 9110 15.5.2).
    bool refusesToken() const { return refusesToken_; }

    bool isWell() const { return trouble_.empty(); }
    const std::string& trouble() const { return trouble_; }

  private:
    void note(const std::string& trouble);

    Listener listener_;
    std::string trouble_;
    bool refusesToken_ = false;
};

}  // namespace quernlight::host
