#include "host/dispatch_store.hpp"

#include "host/user_error.hpp"
#include "quernlight/storage/connection.hpp"
#include "quernlight/storage/database_error.hpp"
#include "quernlight/storage/migrations.hpp"

namespace quernlight::host {

DispatchStore::DispatchStore(std::shared_ptr<Database> shared)
    : database(std::move(shared)), items(database), mappings(database), attempts(database) {}

Task<DispatchStore> DispatchStore::open(std::filesystem::path file) {
    try {
        DispatchStore store(std::make_shared<Database>(file));
        const Migrations migrations(store.database);
        co_await migrations.run();
        co_return store;
    } catch (const DatabaseError& error) {
        throw UserError(
            "The queue in " + file.string() + " cannot be used: " + error.what() +
            ". Check that the directory can be written and that no other program holds the file.");
    }
}

Task<DispatchStore> DispatchStore::openCopy(std::filesystem::path file, std::filesystem::path copy) {
    if (std::filesystem::exists(file)) {
        Connection original(file, Connection::Access::readOnly);
        original.execute("VACUUM INTO ?", {SQLValue::text(copy.string())});
    }
    co_return co_await open(std::move(copy));
}

}  // namespace quernlight::host
