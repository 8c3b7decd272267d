#pragma once

#include <exception>
#include <filesystem>
#include <functional>
#include <set>
#include <string>

#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {

/// Whether the queue and the dispatch home can be written, from everything that writes there. Tells once when
/// they no longer can, and once when they can again. A write that works is no sign of that, for it may have
/// been small, or none at all: while there is trouble somebody has to try (DiskProbe). Used on one executor.
class DiskHealth {
  public:
    /// Called with the trouble in one sentence, and with an empty text when it is over.
    using Listener = std::function<void(const std::string& trouble)>;

    explicit DiskHealth(Listener listener) : listener_(std::move(listener)) {}

    void failed(const DatabaseError& error);
    void failed(const std::filesystem::filesystem_error& error);

    /// Everything that could not be written can be.
    void recovered();

    bool isWell() const { return isWell_; }

    /// What could not be written since it was well; it need not exist.
    const std::set<std::filesystem::path>& unwritten() const { return unwritten_; }

  private:
    void fail(const std::string& what, const std::exception& error);

    Listener listener_;
    std::set<std::filesystem::path> unwritten_;
    bool isWell_ = true;
};

}  // namespace quernlight::host
