#pragma once

#include <libsecret/secret.h>

namespace quernlight {

/// What is used of libsecret and of the GLib under it, both loaded when the token store is first asked, which
/// few commands do; the names are theirs.
struct SecretLibrary {
    decltype(&::secret_collection_for_alias_sync) secret_collection_for_alias_sync = nullptr;
    decltype(&::secret_collection_get_locked) secret_collection_get_locked = nullptr;
    decltype(&::secret_item_delete_sync) secret_item_delete_sync = nullptr;
    decltype(&::secret_item_get_locked) secret_item_get_locked = nullptr;
    decltype(&::secret_item_get_secret) secret_item_get_secret = nullptr;
    decltype(&::secret_item_set_secret_sync) secret_item_set_secret_sync = nullptr;
    decltype(&::secret_service_get_type) secret_service_get_type = nullptr;
    decltype(&::secret_service_open_sync) secret_service_open_sync = nullptr;
    decltype(&::secret_service_search_sync) secret_service_search_sync = nullptr;
    decltype(&::secret_service_store_sync) secret_service_store_sync = nullptr;
    decltype(&::secret_value_get) secret_value_get = nullptr;
    decltype(&::secret_value_new) secret_value_new = nullptr;
    decltype(&::secret_value_unref) secret_value_unref = nullptr;

    decltype(&::g_cancellable_cancel) g_cancellable_cancel = nullptr;
    decltype(&::g_cancellable_new) g_cancellable_new = nullptr;
    decltype(&::g_dbus_error_strip_remote_error) g_dbus_error_strip_remote_error = nullptr;
    decltype(&::g_error_free) g_error_free = nullptr;
    decltype(&::g_error_matches) g_error_matches = nullptr;
    decltype(&::g_free) g_free = nullptr;
    decltype(&::g_hash_table_insert) g_hash_table_insert = nullptr;
    decltype(&::g_hash_table_new_full) g_hash_table_new_full = nullptr;
    decltype(&::g_hash_table_unref) g_hash_table_unref = nullptr;
    decltype(&::g_io_error_quark) g_io_error_quark = nullptr;
    decltype(&::g_list_free) g_list_free = nullptr;
    decltype(&::g_object_unref) g_object_unref = nullptr;
    GHashFunc hashOfText = nullptr;
    GEqualFunc areTextsEqual = nullptr;
    gchar* (*copyOfText)(const gchar*) = nullptr;
};

/// Loaded once, by the first call. Throws SharedLibraryError. For any thread.
const SecretLibrary& secretLibrary();

}  // namespace quernlight
