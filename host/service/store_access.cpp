#include "host/service/store_access.hpp"

#include "host/process/dispatch_home.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {
namespace {

/// Of another command, which lets go of the home before it waits for long.
constexpr std::chrono::seconds longestChange{2};

}  // namespace

Task<OwnedStore> openOwned(std::filesystem::path home) {
    DispatchStore store = co_await DispatchStore::open(FileLocations::databaseURL(home));
    auto manager = std::make_shared<QueueManager>(store.items, store.mappings, Url());
    co_return OwnedStore{.home = std::move(home), .store = std::move(store), .manager = std::move(manager)};
}

std::filesystem::path HomeAccess::home() {
    return findDispatchHome(chosen_);
}

std::filesystem::path HomeAccess::chosenHome() {
    return locateDispatchHome(chosen_);
}

Task<DispatchStore> HomeAccess::forReading() {
    co_return co_await DispatchStore::openForReading(findDispatchHome(chosen_));
}

Task<DispatchStore> HomeAccess::forSettings(MissingHome missing) {
    auto home = missing == MissingHome::made ? openDispatchHome(chosen_) : findDispatchHome(chosen_);
    co_return co_await DispatchStore::openBesideOwner(std::move(home));
}

Task<OwnedStore> HomeAccess::forQueue() {
    co_return co_await own(findDispatchHome(chosen_));
}

Task<OwnedStore> HomeAccess::forMappings() {
    co_return co_await own(openDispatchHome(chosen_));
}

void HomeAccess::takeBack() {
    if (!lock_) {
        lock_.emplace(findDispatchHome(chosen_), longestChange);
    }
}

Task<OwnedStore> HomeAccess::own(std::filesystem::path home) {
    if (!lock_) {
        lock_.emplace(home);
    }
    co_return co_await openOwned(std::move(home));
}

OwnerAccess::OwnerAccess(std::filesystem::path home, DispatchStore store, QueueManager& manager)
    : owned_{.home = std::move(home),
             .store = std::move(store),
             .manager = std::shared_ptr<QueueManager>(std::shared_ptr<void>(), &manager)} {}

Task<DispatchStore> OwnerAccess::forReading() {
    co_return owned_.store;
}

Task<DispatchStore> OwnerAccess::forSettings(MissingHome) {
    co_return owned_.store;
}

Task<OwnedStore> OwnerAccess::forQueue() {
    co_return owned_;
}

Task<OwnedStore> OwnerAccess::forMappings() {
    co_return owned_;
}

}  // namespace quernlight::host
