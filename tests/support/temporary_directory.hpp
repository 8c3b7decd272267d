#pragma once

#include <filesystem>
#include <string>

namespace quernlight::test {

/// An empty directory of its own for one test, removed with all that it holds at the end.
class TemporaryDirectory {
  public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::filesystem::path& name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

/// The whole file as bytes; fails the test when it cannot be read.
std::string readFile(const std::filesystem::path& path);

/// Writes the file, with missing parent directories, over what was there.
void writeFile(const std::filesystem::path& path, const std::string& content);

}  // namespace quernlight::test
