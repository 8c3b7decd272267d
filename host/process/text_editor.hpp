#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quernlight::host {

/// A private file (0600) of a name of its own in this directory, or where there is none in that for temporary
/// files, with this content. It goes with the object unless it is kept. Throws UserError when it cannot be
/// written or read.
class EditedFile {
  public:
    EditedFile(const std::filesystem::path& directory, const std::string& name, const std::string& content);
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

/// The files of that name in the directory that processes which have ended since have left there.
std::vector<std::filesystem::path> leftEdited(const std::filesystem::path& directory,
                                              const std::string& name);

/// Runs it with the file behind its words, on this process's terminal, and returns its exit status. It writes
/// there also when standard output leads elsewhere; where there is no terminal, on standard error. Blocks;
/// keys that interrupt go to the editor alone. No shell is involved. Throws UserError when it cannot be
/// started.
int runEditor(const std::vector<std::string>& words, const std::filesystem::path& file);

}  // namespace quernlight::host
