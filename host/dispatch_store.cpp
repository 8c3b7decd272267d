#include "host/dispatch_store.hpp"

#include "host/user_error.hpp"
#include "quernlight/storage/connection.hpp"
#include "quernlight/storage/database_error.hpp"
#include "quernlight/storage/migrations.hpp"

namespace quernlight::host {

namespace {

/// Whether a write-ahead log lies beside the file: then it is open, or was when its owner died, and part of
/// it is in the log. Otherwise the file is whole, and opening it even for reading would leave new files
/// beside it.
bool isInUse(const std::filesystem::path& file) {
    std::error_code none;
    return std::filesystem::exists(file.string() + "-wal", none);
}

}  // namespace

DispatchStore::DispatchStore(std::shared_ptr<Database> shared)
    : database(std::move(shared)),
      items(database),
      mappings(database),
      attempts(database),
      retired(database) {}

Task<DispatchStore> DispatchStore::open(std::filesystem::path file) {
    try {
        DispatchStore store(std::make_shared<Database>(file));
        store.database->setLockWait(std::chrono::seconds(5));  // another command writes for a moment
        const Migrations migrations(store.database);
        co_await migrations.run();
        co_await store.retired.prepare();
        co_return store;
    } catch (const DatabaseError& error) {
        throw UserError(
            "The queue in " + file.string() + " cannot be used: " + error.what() +
            ". Check that the directory can be written, that its disk is not full, and that no other program "
            "holds the file.");
    }
}

Task<DispatchStore> DispatchStore::openCopy(std::filesystem::path file, std::filesystem::path copy) {
    if (isInUse(file)) {
        Connection original(file, Connection::Access::readOnly);
        original.execute("VACUUM INTO ?", {SQLValue::text(copy.string())});
    } else if (std::filesystem::exists(file)) {
        std::filesystem::copy_file(file, copy);
    }
    co_return co_await open(std::move(copy));
}

}  // namespace quernlight::host
