#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace quernlight::test {

/// Looks for a text in files while they come, change and go. Only what has changed since the last look is
/// read.
class FileWatch {
  public:
    FileWatch(std::string text, std::filesystem::path directory)
        : text_(std::move(text)), directory_(std::move(directory)) {}

    /// The files below the directory that have changed and hold the text now.
    std::vector<std::filesystem::path> look();

  private:
    using State = std::pair<std::filesystem::file_time_type, std::uintmax_t>;  // last change and size

    void lookInto(const std::filesystem::path& directory, std::vector<std::filesystem::path>& holding);
    bool hasChanged(const std::filesystem::directory_entry& file);
    bool holdsText(const std::filesystem::path& file) const;

    const std::string text_;
    const std::filesystem::path directory_;
    std::map<std::filesystem::path, State> seen_;
};

}  // namespace quernlight::test
