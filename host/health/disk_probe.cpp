#include "host/health/disk_probe.hpp"

#include <fstream>
#include <string>

#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

constexpr std::size_t roomWanted = 256 * 1024;

/// The nearest directory above that is there.
fs::path directoryOf(fs::path path) {
    std::error_code ignored;
    while (path.has_relative_path() && !fs::is_directory(path, ignored)) {
        path = path.parent_path();
    }
    return path;
}

bool hasRoom(const fs::path& directory) {
    const fs::path file = directory / ".quernlight-room";
    std::ofstream stream(file, std::ios::binary);
    const std::string block(roomWanted, ' ');
    stream.write(block.data(), static_cast<std::streamsize>(block.size()));
    stream.close();
    std::error_code ignored;
    fs::remove(file, ignored);
    return !stream.fail();
}

bool allHaveRoom(const std::set<fs::path>& places) {
    for (const fs::path& place : places) {
        if (!hasRoom(directoryOf(place))) {
            return false;
        }
    }
    return true;
}

/// A number of the file's own that nobody uses, written as it is (PRAGMA user_version,
/// sqlite.org/pragma.html).
Task<bool> takesWrites(DispatchStore store) {
    try {
        const auto rows = co_await store.database->query("PRAGMA user_version");
        const auto number = rows.at(0).begin()->second.asInteger().value_or(0);
        co_await store.database->execute("PRAGMA user_version = " + std::to_string(number));
        co_return true;
    } catch (const DatabaseError&) {
        co_return false;
    }
}

}  // namespace

Task<bool> canBeWritten(DispatchStore store, BackgroundExecutor& background, fs::path home,
                        std::set<fs::path> unwritten) {
    unwritten.insert(std::move(home));
    auto look = [places = std::move(unwritten)] { return allHaveRoom(places); };
    const bool isRoomy = co_await background.run(std::move(look));
    if (!isRoomy) {
        co_return false;
    }
    co_return co_await takesWrites(std::move(store));
}

}  // namespace quernlight::host
