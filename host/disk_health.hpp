#pragma once

#include <exception>
#include <functional>
#include <map>
#include <string>

namespace quernlight::host {

/// Whether the queue and the dispatch home can be written, from everything that writes there. Tells once when
/// they no longer can, and once when everyone whose write had failed has succeeded again. Used on one
/// executor.
class DiskHealth {
  public:
    /// Called with the trouble in one sentence, and with an empty text when it is over.
    using Listener = std::function<void(const std::string& trouble)>;

    explicit DiskHealth(Listener listener) : listener_(std::move(listener)) {}

    /// `who` could not write `what` ("queue", "dispatch home").
    void failed(const std::string& who, const std::string& what, const std::exception& error);

    /// Whether the last write of `who` has failed.
    bool hasTrouble(const std::string& who) const { return troubles_.contains(who); }

    /// What `who` had to write has been written, or nobody wants it any more.
    void succeeded(const std::string& who);

  private:
    Listener listener_;
    std::map<std::string, std::string> troubles_;  // by who has them
};

}  // namespace quernlight::host
