#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "host/process/home_lock.hpp"
#include "host/store/dispatch_store.hpp"
#include "quernlight/dispatch/queue_manager.hpp"

namespace quernlight::host {

using ChosenHome = std::optional<std::filesystem::path>;  ///< absent: the user's own dispatch home

/// The store of a home that this process owns, and the manager through which alone its queue is changed.
struct OwnedStore {
    std::filesystem::path home;
    DispatchStore store;
    std::shared_ptr<QueueManager> manager;
};

/// Opens the store of a home whose lock this process holds.
Task<OwnedStore> openOwned(std::filesystem::path home);

/// What becomes of a home that is not there: without one there is nothing to put back, say.
enum class MissingHome { made, refused };

/// How an operation gets at the store: the one place that decides what it takes to open it. Operations throw
/// UserError that says why it cannot be had.
class StoreAccess {
  public:
    virtual ~StoreAccess() = default;

    /// The home, which is there.
    virtual std::filesystem::path home() = 0;

    /// The same place whether it is there or not.
    virtual std::filesystem::path chosenHome() = 0;

    virtual Task<DispatchStore> forReading() = 0;
    virtual Task<DispatchStore> forSettings(MissingHome missing) = 0;
    virtual Task<OwnedStore> forQueue() = 0;
    virtual Task<OwnedStore> forMappings() = 0;

    /// While something else is waited for, others may own what was opened to be changed; what was read of it
    /// counts no more. Throws HomeOwnedError when somebody has it when it is taken back.
    virtual void letGo() {}
    virtual void takeBack() {}
};

/// Opens the store anew for each operation, as a short command does. Reading needs neither the home's lock
/// nor the right to write; settings may change beside an owner; what changes the queue or the mappings owns
/// the home from then on until this object ends, so that nobody else changes it before a person has answered.
/// Only settings that are set and mappings make a home that is not there.
class HomeAccess final : public StoreAccess {
  public:
    explicit HomeAccess(ChosenHome chosen) : chosen_(std::move(chosen)) {}

    std::filesystem::path home() override;
    std::filesystem::path chosenHome() override;

    Task<DispatchStore> forReading() override;
    Task<DispatchStore> forSettings(MissingHome missing) override;
    Task<OwnedStore> forQueue() override;
    Task<OwnedStore> forMappings() override;
    void letGo() override { lock_.reset(); }
    void takeBack() override;

  private:
    Task<OwnedStore> own(std::filesystem::path home);

    const ChosenHome chosen_;
    std::optional<HomeLock> lock_;
};

/// The store that this process, as the home's owner, holds open already, with its manager, which must outlive
/// this.
class OwnerAccess final : public StoreAccess {
  public:
    OwnerAccess(std::filesystem::path home, DispatchStore store, QueueManager& manager);

    std::filesystem::path home() override { return owned_.home; }
    std::filesystem::path chosenHome() override { return owned_.home; }

    Task<DispatchStore> forReading() override;
    Task<DispatchStore> forSettings(MissingHome missing) override;
    Task<OwnedStore> forQueue() override;
    Task<OwnedStore> forMappings() override;

  private:
    const OwnedStore owned_;
};

}  // namespace quernlight::host
