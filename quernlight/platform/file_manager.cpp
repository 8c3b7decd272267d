#include "quernlight/platform/file_manager.hpp"

#include <system_error>

namespace quernlight {
namespace fs = std::filesystem;

bool FileManager::exists(const fs::path& path) const {
    std::error_code error;
    return fs::symlink_status(path, error).type() != fs::file_type::not_found && !error;
}

bool FileManager::isDirectory(const fs::path& path) const {
    std::error_code error;
    return fs::is_directory(path, error);
}

void FileManager::createDirectories(const fs::path& path) const {
    fs::create_directories(path);
    if (!fs::is_directory(path)) {
        throw fs::filesystem_error("cannot create directories", path,
                                   std::make_error_code(std::errc::not_a_directory));
    }
}

void FileManager::removeAll(const fs::path& path) const {
    fs::remove_all(path);
}

std::vector<FileManager::Entry> FileManager::visibleEntries(const fs::path& directory) const {
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
