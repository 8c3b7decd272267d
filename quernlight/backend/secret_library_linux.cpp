#include "quernlight/backend/secret_library_linux.hpp"

#include "quernlight/platform/shared_library.hpp"

namespace quernlight {
namespace {

/// The functions of GLib are found through libsecret, which needs it.
SecretLibrary loadSecretLibrary() {
    const SharedLibrary library("libsecret-1.so.0");
    SecretLibrary found;
    library.find(found.secret_collection_for_alias_sync, "secret_collection_for_alias_sync");
    library.find(found.secret_collection_get_locked, "secret_collection_get_locked");
    library.find(found.secret_item_delete_sync, "secret_item_delete_sync");
    library.find(found.secret_item_get_locked, "secret_item_get_locked");
    library.find(found.secret_item_get_secret, "secret_item_get_secret");
    library.find(found.secret_item_set_secret_sync, "secret_item_set_secret_sync");
    library.find(found.secret_service_get_type, "secret_service_get_type");
    library.find(found.secret_service_open_sync, "secret_service_open_sync");
    library.find(found.secret_service_search_sync, "secret_service_search_sync");
    library.find(found.secret_service_store_sync, "secret_service_store_sync");
    library.find(found.secret_value_get, "secret_value_get");
    library.find(found.secret_value_new, "secret_value_new");
    library.find(found.secret_value_unref, "secret_value_unref");
    library.find(found.g_cancellable_cancel, "g_cancellable_cancel");
    library.find(found.g_cancellable_new, "g_cancellable_new");
    library.find(found.g_dbus_error_strip_remote_error, "g_dbus_error_strip_remote_error");
    library.find(found.g_error_free, "g_error_free");
    library.find(found.g_error_matches, "g_error_matches");
    library.find(found.g_free, "g_free");
    library.find(found.g_hash_table_insert, "g_hash_table_insert");
    library.find(found.g_hash_table_new_full, "g_hash_table_new_full");
    library.find(found.g_hash_table_unref, "g_hash_table_unref");
    library.find(found.g_io_error_quark, "g_io_error_quark");
    library.find(found.g_list_free, "g_list_free");
    library.find(found.g_object_unref, "g_object_unref");
    library.find(found.hashOfText, "g_str_hash");
    library.find(found.areTextsEqual, "g_str_equal");
    library.find(found.copyOfText, "g_strdup");
    return found;
}

}  // namespace

const SecretLibrary& secretLibrary() {
    static const SecretLibrary library = loadSecretLibrary();
    return library;
}

}  // namespace quernlight
