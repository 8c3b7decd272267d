#pragma once

#include <filesystem>

namespace quernlight::host {

// What the program keeps is for its user alone: directories 0700, files 0600, also when they were made wider
// before. What belongs to another user, or is neither a directory nor a regular file, is left as it is. None
// of these throws: whoever then uses the file finds out what is wrong with it.

/// Makes an empty file where there is none, so that whoever opens it next does not make one that others may
/// read; takes other users' rights away from one that is there.
void makePrivateFile(const std::filesystem::path& file);

/// Takes other users' rights away from the home, unless it is meant to be shared (its sticky bit is set), and
/// from the database and the lock in it.
void protectHome(const std::filesystem::path& home);

/// The same for the directories from "sessions" down to `attempt`.
void protectAttempt(const std::filesystem::path& home, const std::filesystem::path& attempt);

/// The same for a directory and all that lies in it.
void protectTree(const std::filesystem::path& directory);

}  // namespace quernlight::host
