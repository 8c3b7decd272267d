#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "standin/backend/bug_store.hpp"

namespace quernlight::standin {

/// A file that shows what the store holds, for a test to look at. It is replaced as a whole, so that a reader
/// sees one state or the next and never half of one.
class StateFile {
  public:
    explicit StateFile(std::filesystem::path path) : path_(std::move(path)) {}

    /// Writes the store's state when it changed since the last call, and at the first call.
    /// Throws std::runtime_error when the file cannot be written.
    void update(const BugStore& store);

  private:
    void replace(const std::string& content) const;

    std::filesystem::path path_;
    std::optional<std::uint64_t> written_;  ///< the revision that the file shows
};

}  // namespace quernlight::standin
