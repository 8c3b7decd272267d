#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quernlight {

/// What the library asks of the file system. Virtual so that a test can make an operation fail that the
/// real file system would not refuse. Every operation but the queries throws
/// std::filesystem::filesystem_error. Nothing is at a path with a null character, and nothing can be put
/// there.
class FileManager {
  public:
    struct Entry {
        std::filesystem::path path;
        std::optional<std::filesystem::file_time_type> modified;  ///< absent when it cannot be read
    };

    virtual ~FileManager() = default;

    /// Whether anything is there, a dangling symbolic link included. Where that cannot be told it counts as
    /// there, so that nothing is taken for gone that is not.
    virtual bool exists(const std::filesystem::path& path) const;
    /// Why it cannot be told whether anything is there, in the system's words ("Permission denied"); nothing
    /// when it can.
    virtual std::optional<std::string> obstacle(const std::filesystem::path& path) const;
    /// Whether a directory, or a link to one, is there.
    virtual bool isDirectory(const std::filesystem::path& path) const;
    /// Creates the directory and all its parents; one that is there already is no error.
    virtual void createDirectories(const std::filesystem::path& path) const;
    /// Deletes a file or a directory with all that it holds; links are deleted, not followed.
    virtual void removeAll(const std::filesystem::path& path) const;
    /// A directory's entries, those whose name begins with a full stop left out, in no particular order.
    virtual std::vector<Entry> visibleEntries(const std::filesystem::path& directory) const;
};

/// The real file system; a value without state.
const FileManager& defaultFileManager();

}  // namespace quernlight
