#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/temporary_directory.hpp"

namespace quernlight::standin::test {

/// A repository whose remote is git@git.example:acme/shop.git, served by the transport from a bare
/// repository, with one commit on "main"; and an environment in which git knows nothing of the user.
class HostedRepository {
  public:
    HostedRepository();

    std::filesystem::path directory() const { return temporary_ / "shop"; }
    std::filesystem::path bare() const { return temporary_ / "served/acme/shop.git"; }
    std::filesystem::path scratch(const std::string& name) const { return temporary_ / name; }

    /// "KEY=value" entries for git and whatever runs it.
    const std::vector<std::string>& environment() const { return environment_; }

    /// Runs git in the repository, or in another directory. Its output without the last line end; throws with
    /// it when git fails.
    std::string git(const std::vector<std::string>& arguments) const { return git(directory(), arguments); }
    std::string git(const std::filesystem::path& directory, const std::vector<std::string>& arguments) const;

  private:
    quernlight::test::TemporaryDirectory temporary_;
    std::vector<std::string> environment_;
};

}  // namespace quernlight::standin::test
