#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quernlight::standin::codex {

/// Runs git in one directory, by argument vector, with an identity of its own and nothing to read. Blocks.
class Git {
  public:
    explicit Git(std::filesystem::path directory);

    /// What git printed, without the white space at its ends. Throws std::runtime_error with git's words when
    /// it fails.
    std::string run(const std::vector<std::string>& arguments) const;

    /// Whether git ended with status 0.
    bool succeeds(const std::vector<std::string>& arguments) const;

  private:
    struct Result {
        int status = 0;
        std::string output;
    };

    Result execute(const std::vector<std::string>& arguments) const;

    std::filesystem::path directory_;
};

}  // namespace quernlight::standin::codex
