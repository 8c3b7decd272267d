#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

namespace quernlight::test {

/// Whether the process is there and has not ended; one that only waits to be reaped has.
bool isAlive(pid_t process);

/// Its environment, entries separated by NULs; empty for a process that has ended or is another user's.
std::string environmentOf(pid_t process);

/// The live processes that were started with exactly this assignment ("NAME=value") in their environment.
std::vector<pid_t> processesWithEnvironment(const std::string& assignment);

/// The live processes whose working directory is this one or below it.
std::vector<pid_t> processesWorkingIn(const std::filesystem::path& directory);

}  // namespace quernlight::test
