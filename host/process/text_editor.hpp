#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quernlight::host {

/// A private file (0600) of a name of its own in the directory for temporary files, with this content. It
/// goes with the object unless it is kept. Throws UserError when it cannot be written or read.
class EditedFile {
  public:
    EditedFile(const std::string& name, const std::string& content);
    EditedFile(const EditedFile&) = delete;
    EditedFile& operator=(const EditedFile&) = delete;
    ~EditedFile();

    const std::filesystem::path& path() const { return path_; }
    std::string content() const;
    void keep() { isKept_ = true; }

  private:
    std::filesystem::path path_;
    bool isKept_ = false;
};

/// Runs it with the file behind its words, on this process's terminal, and returns its exit status. Blocks;
/// keys that interrupt go to the editor alone. No shell is involved. Throws UserError when it cannot be
/// started.
int runEditor(const std::vector<std::string>& words, const std::filesystem::path& file);

}  // namespace quernlight::host
