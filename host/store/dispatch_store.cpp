#include "host/store/dispatch_store.hpp"

#include <cerrno>
#include <chrono>

#include <unistd.h>

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/process/home_lock.hpp"
#include "host/process/private_files.hpp"
#include "host/process/scratch_directory.hpp"
#include "host/process/user_error.hpp"
#include "host/store/store_layout.hpp"
#include "quernlight/storage/connection.hpp"
#include "quernlight/storage/database_error.hpp"
#include "quernlight/storage/file_locations.hpp"
#include "quernlight/storage/migrations.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

using std::chrono::milliseconds;

constexpr milliseconds lockWait{5000};  // another command writes for a moment

UserError unusable(const fs::path& file, const std::exception& error) {
    return UserError(
        "The queue in " + file.string() + " cannot be used: " + error.what() +
        ". Check that the directory can be written, that its disk is not full, and that no other program "
        "holds the file.");
}

UserError unreadable(const fs::path& file, const std::exception& error) {
    return UserError("The queue in " + file.string() + " cannot be read: " + error.what() +
                     ". Check its permissions, and that it is a dispatch home's.");
}

void refuseNewer(StoreLayout layout, const fs::path& file) {
    if (layout == StoreLayout::newer) {
        throw UserError(
            "The queue in " + file.string() +
            " was written by a newer version of this program; use that one, or choose another home "
            "with --home.");
    }
}

void refuseOlder(StoreLayout layout, const fs::path& file) {
    if (layout == StoreLayout::older) {
        throw UserError("The queue in " + file.string() +
                        " has the layout of an older version, which reading does not change; start the "
                        "dispatcher once, which brings it up to date.");
    }
}

void refuseIrregular(const fs::path& file) {
    std::error_code none;
    if (fs::exists(file, none) && !fs::is_regular_file(file, none)) {
        throw UserError("The queue in " + file.string() +
                        " is no regular file; choose another home with --home.");
    }
}

/// SQLite opens what it cannot write for reading, and only the first write fails, in its own words.
void refuseUnwritable(const fs::path& file) {
    for (const fs::path& needed : {file.parent_path(), file}) {
        const int error = access(needed.c_str(), W_OK) == 0 ? 0 : errno;
        if (error == EACCES || error == EPERM || error == EROFS) {
            throw unwritableHome(file.parent_path(), error);
        }
    }
}

/// A new file is there before it has its tables: the process that makes it gets a moment to do so.
Task<StoreLayout> awaitLayout(std::shared_ptr<Database> database) {
    constexpr milliseconds pause{50};
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor);
    StoreLayout layout = co_await layoutOf(database);
    for (int looks = 0; layout == StoreLayout::older && looks < 20; ++looks) {
        timer.expires_after(pause);
        co_await timer.async_wait(boost::asio::use_awaitable);
        layout = co_await layoutOf(database);
    }
    co_return layout;
}

bool exists(const fs::path& file, const char* suffix) {
    std::error_code none;
    return fs::exists(file.string() + suffix, none);
}

/// Whether a write-ahead log lies beside the file: then it is open, or was when its owner died, and part of
/// it is in the log. Otherwise the file is whole, and opening it even for reading would leave new files
/// beside it.
bool isInUse(const fs::path& file) {
    return exists(file, "-wal");
}

/// SQLite reads a file with a write-ahead log by way of an index beside it, which it must be able to make
/// (sqlite.org/wal.html, "Read-Only Databases").
bool canBeReadInPlace(const fs::path& file) {
    return access(file.parent_path().c_str(), W_OK) == 0 || (isInUse(file) && exists(file, "-shm"));
}

/// The file with what of it is in its log. Nobody writes to either, or there would be an index, too.
void copyWithLog(const fs::path& file, const fs::path& copy) {
    fs::copy_file(file, copy);
    if (isInUse(file)) {
        fs::copy_file(file.string() + "-wal", copy.string() + "-wal");
    }
}

}  // namespace

DispatchStore::DispatchStore(std::shared_ptr<Database> shared)
    : database(std::move(shared)),
      items(database),
      mappings(database),
      attempts(database),
      retired(database) {}

Task<void> DispatchStore::migrate() const {
    const Migrations migrations(database);
    co_await migrations.run();
    co_await retired.prepare();
}

Task<DispatchStore> DispatchStore::open(fs::path file) {
    refuseIrregular(file);
    makePrivateFile(file);
    refuseUnwritable(file);
    try {
        const DatabaseOptions options{.lockWait = lockWait};
        DispatchStore store(std::make_shared<Database>(file, options));
        const StoreLayout layout = co_await layoutOf(store.database);
        refuseNewer(layout, file);
        co_await store.migrate();
        co_return store;
    } catch (const DatabaseError& error) {
        throw unusable(file, error);
    }
}

Task<DispatchStore> DispatchStore::openBesideOwner(fs::path home) {
    const fs::path file = FileLocations::databaseURL(home);
    refuseIrregular(file);
    makePrivateFile(file);
    refuseUnwritable(file);
    try {
        const DatabaseOptions options{.lockWait = lockWait};
        DispatchStore store(std::make_shared<Database>(file, options));
        const StoreLayout layout = co_await layoutOf(store.database);
        refuseNewer(layout, file);
        if (layout == StoreLayout::older) {
            const HomeLock lock(home, lockWait);
            co_await store.migrate();
        }
        co_return store;
    } catch (const DatabaseError& error) {
        throw unusable(file, error);
    }
}

Task<DispatchStore> DispatchStore::openForReading(fs::path home) {
    const fs::path file = FileLocations::databaseURL(home);
    std::shared_ptr<const ScratchDirectory> scratch;
    fs::path read = file;
    try {
        if (!canBeReadInPlace(file)) {
            scratch = std::make_shared<ScratchDirectory>();
            read = scratch->path() / file.filename();
            copyWithLog(file, read);
        }
        const DatabaseOptions options{.access = Connection::Access::readOnly, .lockWait = lockWait};
        DispatchStore store(std::make_shared<Database>(read, options));
        store.scratch = scratch;
        const StoreLayout layout = co_await awaitLayout(store.database);
        refuseNewer(layout, file);
        refuseOlder(layout, file);
        co_return store;
    } catch (const DatabaseError& error) {
        throw unreadable(file, error);
    } catch (const fs::filesystem_error& error) {
        throw unreadable(file, error);
    }
}

Task<DispatchStore> DispatchStore::openCopy(fs::path file, fs::path copy) {
    if (isInUse(file) && canBeReadInPlace(file)) {
        Connection original(file, Connection::Access::readOnly, lockWait);
        original.execute("VACUUM INTO ?", {SQLValue::text(copy.string())});
    } else if (fs::exists(file)) {
        copyWithLog(file, copy);
    }
    co_return co_await open(std::move(copy));
}

}  // namespace quernlight::host
