#include "quernlight/backend/keychain_store.hpp"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string_view>
#include <thread>

#include "quernlight/backend/secret_library_linux.hpp"
#include "quernlight/platform/shared_library.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

constexpr std::chrono::seconds timeLimit{20};

/// Throws KeychainError where it is not installed.
const SecretLibrary& libsecret() {
    try {
        return secretLibrary();
    } catch (const SharedLibraryError& missing) {
        throw KeychainError(G_IO_ERROR_NOT_FOUND, missing.what());
    }
}

struct Unreference {
    void operator()(gpointer object) const { libsecret().g_object_unref(object); }
};
template <class Object>
using Reference = std::unique_ptr<Object, Unreference>;

struct UnreferenceValue {
    void operator()(SecretValue* value) const { libsecret().secret_value_unref(value); }
};
using ValueReference = std::unique_ptr<SecretValue, UnreferenceValue>;

struct UnreferenceTable {
    void operator()(GHashTable* table) const { libsecret().g_hash_table_unref(table); }
};
using Attributes = std::unique_ptr<GHashTable, UnreferenceTable>;

const SecretSchema& schema() {
    static const SecretSchema tokens{"org.quernlight.dispatch.Token",
                                     SECRET_SCHEMA_NONE,
                                     {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                      {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                      {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                                     0,
                                     nullptr,
                                     nullptr,
                                     nullptr,
                                     nullptr,
                                     nullptr,
                                     nullptr,
                                     nullptr};
    return tokens;
}

/// Cancels what is under way once the time is over: a service that never answers must not hold its caller.
class Deadline {
  public:
    Deadline() : cancellable_(libsecret().g_cancellable_new()), watch_([this] { watch(); }) {}
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;
    ~Deadline() {
        {
            const std::lock_guard guard(lock_);
            done_ = true;
        }
        changed_.notify_one();
        watch_.join();
    }

    GCancellable* cancellable() const { return cancellable_.get(); }

  private:
    void watch() {
        std::unique_lock guard(lock_);
        if (!changed_.wait_for(guard, timeLimit, [this] { return done_; })) {
            libsecret().g_cancellable_cancel(cancellable_.get());
        }
    }

    const Reference<GCancellable> cancellable_;
    std::mutex lock_;
    std::condition_variable changed_;
    bool done_ = false;
    std::thread watch_;
};

/// Takes the error over; throws when there is one.
void throwIfFailed(GError* error) {
    const std::unique_ptr<GError, decltype(&::g_error_free)> owned(error, libsecret().g_error_free);
    if (!owned) {
        return;
    }
    if (libsecret().g_error_matches(error, libsecret().g_io_error_quark(), G_IO_ERROR_CANCELLED)) {
        throw KeychainError(error->code, "The secret service did not answer within " +
                                             std::to_string(timeLimit.count()) + " seconds.");
    }
    libsecret().g_dbus_error_strip_remote_error(error);
    const bool hasMessage = error->message && *error->message != '\0';
    throw KeychainError(error->code, hasMessage ? std::optional<std::string>(error->message) : std::nullopt);
}

/// Without an address GLib would start a bus of its own where it can, which nobody's secrets are on.
class SessionBus {
  public:
    SessionBus() {
        const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
        const char* runtime = std::getenv("XDG_RUNTIME_DIR");
        std::error_code ignored;
        const bool named = address && *address != '\0';
        if (!named &&
            !(runtime && std::filesystem::exists(std::filesystem::path(runtime) / "bus", ignored))) {
            throw KeychainError(
                G_IO_ERROR_NOT_FOUND,
                "There is no session bus, so no secret service can be asked; log in to a session "
                "that has one, or keep the token in a file.");
        }
    }
};

void refuseIf(bool isLocked) {
    if (isLocked) {
        throw KeychainError(SECRET_ERROR_IS_LOCKED, "The keyring is locked; unlock it and try again.");
    }
}

/// One conversation with the secret service.
class SecretSession {
  public:
    SecretSession() {
        GError* error = nullptr;
        service_.reset(libsecret().secret_service_open_sync(libsecret().secret_service_get_type(), nullptr,
                                                            SECRET_SERVICE_OPEN_SESSION,
                                                            deadline_.cancellable(), &error));
        throwIfFailed(error);
    }

    /// The items with these attributes; never asks to unlock. What a locked keyring holds cannot be told, so
    /// finding nothing there is a refusal.
    std::vector<Reference<SecretItem>> search(GHashTable* attributes) const {
        GError* error = nullptr;
        const auto flags = static_cast<SecretSearchFlags>(SECRET_SEARCH_ALL | SECRET_SEARCH_LOAD_SECRETS);
        GList* found = libsecret().secret_service_search_sync(service_.get(), &schema(), attributes, flags,
                                                              deadline_.cancellable(), &error);
        throwIfFailed(error);
        std::vector<Reference<SecretItem>> items;
        for (GList* entry = found; entry; entry = entry->next) {
            items.emplace_back(static_cast<SecretItem*>(entry->data));
        }
        libsecret().g_list_free(found);
        for (const auto& item : items) {
            refuseIf(libsecret().secret_item_get_locked(item.get()) != FALSE);
        }
        const auto collection = defaultCollection();
        refuseIf(items.empty() && collection &&
                 libsecret().secret_collection_get_locked(collection.get()) != FALSE);
        return items;
    }

    void update(SecretItem* item, SecretValue* value) const {
        GError* error = nullptr;
        libsecret().secret_item_set_secret_sync(item, value, deadline_.cancellable(), &error);
        throwIfFailed(error);
    }

    /// Adds an item to the default collection.
    void add(GHashTable* attributes, const std::string& label, SecretValue* value) const {
        const auto collection = defaultCollection();
        if (!collection) {
            throw KeychainError(SECRET_ERROR_NO_SUCH_OBJECT,
                                "The secret service has no default keyring; make one and try again.");
        }
        refuseIf(libsecret().secret_collection_get_locked(collection.get()) != FALSE);
        GError* error = nullptr;
        libsecret().secret_service_store_sync(service_.get(), &schema(), attributes,
                                              SECRET_COLLECTION_DEFAULT, label.c_str(), value,
                                              deadline_.cancellable(), &error);
        throwIfFailed(error);
    }

    void remove(SecretItem* item) const {
        GError* error = nullptr;
        libsecret().secret_item_delete_sync(item, deadline_.cancellable(), &error);
        throwIfFailed(error);
    }

  private:
    /// Null when there is none.
    Reference<SecretCollection> defaultCollection() const {
        GError* error = nullptr;
        Reference<SecretCollection> collection(libsecret().secret_collection_for_alias_sync(
            service_.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, deadline_.cancellable(),
            &error));
        throwIfFailed(error);
        return collection;
    }

    const SessionBus bus_;  // before anything is loaded to ask it
    const Deadline deadline_;
    Reference<SecretService> service_;
};

Attributes attributesOf(const std::string& service, const std::string& account) {
    if (const auto refusal = keychainNameRefusal(service, account)) {
        throw KeychainError(G_IO_ERROR_INVALID_ARGUMENT, refusal);
    }
    Attributes attributes(libsecret().g_hash_table_new_full(libsecret().hashOfText, libsecret().areTextsEqual,
                                                            libsecret().g_free, libsecret().g_free));
    libsecret().g_hash_table_insert(attributes.get(), libsecret().copyOfText("service"),
                                    libsecret().copyOfText(service.c_str()));
    libsecret().g_hash_table_insert(attributes.get(), libsecret().copyOfText("account"),
                                    libsecret().copyOfText(account.c_str()));
    return attributes;
}

std::optional<std::string> textOf(SecretItem* item) {
    const ValueReference value(libsecret().secret_item_get_secret(item));
    if (!value) {
        return std::nullopt;
    }
    gsize length = 0;
    const gchar* bytes = libsecret().secret_value_get(value.get(), &length);
    std::string text(bytes, length);
    return isValidUtf8(text) ? std::optional(std::move(text)) : std::nullopt;
}

}  // namespace

std::optional<std::string> KeychainStore::token(const std::string& account) const {
    const SecretSession session;
    const auto items = session.search(attributesOf(service, account).get());
    if (items.empty()) {
        return std::nullopt;
    }
    return textOf(items.front().get());
}

/// The service replaces an item of the same attributes in the default collection only, and the item may lie
/// in another one; hence an update of what is there, so that there is never a second one.
void KeychainStore::saveToken(const std::string& token, const std::string& account) const {
    const SecretSession session;
    const ValueReference value(
        libsecret().secret_value_new(token.data(), static_cast<gssize>(token.size()), "text/plain"));
    const Attributes attributes = attributesOf(service, account);
    const auto items = session.search(attributes.get());
    for (const auto& item : items) {
        session.update(item.get(), value.get());
    }
    if (items.empty()) {
        session.add(attributes.get(), service + " (" + account + ")", value.get());
    }
}

void KeychainStore::deleteToken(const std::string& account) const {
    const SecretSession session;
    for (const auto& item : session.search(attributesOf(service, account).get())) {
        session.remove(item.get());
    }
}

}  // namespace quernlight
