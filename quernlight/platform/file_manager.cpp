#include "quernlight/platform/file_manager.hpp"

#include <system_error>

namespace quernlight {
namespace fs = std::filesystem;
namespace {

/// The system would take such a path for the shorter one before the character.
bool holdsNullCharacter(const fs::path& path) {
    return path.native().find('\0') != fs::path::string_type::npos;
}

void refuseNullCharacter(const fs::path& path) {
    if (holdsNullCharacter(path)) {
        throw fs::filesystem_error("a path holds a null character", path,
                                   std::make_error_code(std::errc::invalid_argument));
    }
}

}  // namespace

bool FileManager::exists(const fs::path& path) const {
    std::error_code ignored;
    return !holdsNullCharacter(path) && fs::symlink_status(path, ignored).type() != fs::file_type::not_found;
}

std::optional<std::string> FileManager::obstacle(const fs::path& path) const {
    std::error_code error;
    const bool isTold =
        holdsNullCharacter(path) || fs::symlink_status(path, error).type() != fs::file_type::none;
    return isTold ? std::nullopt : std::optional(error.message());
}

bool FileManager::isDirectory(const fs::path& path) const {
    std::error_code error;
    return !holdsNullCharacter(path) && fs::is_directory(path, error);
}

void FileManager::createDirectories(const fs::path& path) const {
    refuseNullCharacter(path);
    fs::create_directories(path);
    if (!fs::is_directory(path)) {
        throw fs::filesystem_error("cannot create directories", path,
                                   std::make_error_code(std::errc::not_a_directory));
    }
}

void FileManager::removeAll(const fs::path& path) const {
    refuseNullCharacter(path);
    fs::remove_all(path);
}

std::vector<FileManager::Entry> FileManager::visibleEntries(const fs::path& directory) const {
    refuseNullCharacter(directory);
    std::vector<Entry> entries;
    for (const auto& found : fs::directory_iterator(directory)) {
        if (found.path().filename().string().starts_with('.')) {
            continue;
        }
        std::error_code error;
        const auto modified = found.last_write_time(error);
        entries.push_back({found.path(), error ? std::nullopt : std::optional(modified)});
    }
    return entries;
}

const FileManager& defaultFileManager() {
    static const FileManager fileManager;
    return fileManager;
}

}  // namespace quernlight
