// keychain-probe token|save|delete SERVICE ACCOUNT: one operation of the token store in a process of its own,
// since a process has one session bus for its whole life. "save" reads the token from standard input. Ends
// with status 0 and prints the token, with 3 when there is none, with 1 and the error's text.
//
// Past the token store: "save-elsewhere" puts the token into the collection that lasts as long as the
// session, and "list" prints each item's keyring and its attributes, one a line.
#include <iostream>
#include <iterator>
#include <map>

#include <libsecret/secret.h>

#include "quernlight/backend/keychain_store.hpp"

namespace {

const SecretSchema anySchema{
    "org.quernlight.dispatch.Token",
    SECRET_SCHEMA_NONE,
    {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING}, {"account", SECRET_SCHEMA_ATTRIBUTE_STRING}},
    0,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr};

int saveElsewhere(const char* service, const char* account, const std::string& token) {
    const gboolean saved =
        secret_password_store_sync(&anySchema, SECRET_COLLECTION_SESSION, "elsewhere", token.c_str(), nullptr,
                                   nullptr, "service", service, "account", account, nullptr);
    return saved != FALSE ? 0 : 1;
}

std::string attributesOf(SecretItem* item) {
    std::map<std::string, std::string> sorted;
    GHashTable* attributes = secret_item_get_attributes(item);
    const auto insert = [](gpointer key, gpointer value, gpointer into) {
        static_cast<std::map<std::string, std::string>*>(into)->emplace(static_cast<char*>(key),
                                                                        static_cast<char*>(value));
    };
    g_hash_table_foreach(attributes, insert, &sorted);
    g_hash_table_unref(attributes);
    std::string text;
    for (const auto& [key, value] : sorted) {
        text += " " + key + "=" + value;
    }
    return text;
}

/// Items are at /org/freedesktop/secrets/collection/COLLECTION/NUMBER.
std::string collectionOf(SecretItem* item) {
    const std::string path = g_dbus_proxy_get_object_path(G_DBUS_PROXY(item));
    const std::string collection = path.substr(0, path.rfind('/'));
    return collection.substr(collection.rfind('/') + 1);
}

int listItems(const char* service, const char* account) {
    GHashTable* attributes =
        secret_attributes_build(&anySchema, "service", service, "account", account, nullptr);
    GList* items =
        secret_service_search_sync(nullptr, &anySchema, attributes, SECRET_SEARCH_ALL, nullptr, nullptr);
    for (GList* entry = items; entry != nullptr; entry = entry->next) {
        auto* item = static_cast<SecretItem*>(entry->data);
        std::cout << collectionOf(item) << attributesOf(item) << "\n";
    }
    std::cout << std::flush;
    g_list_free_full(items, g_object_unref);
    g_hash_table_unref(attributes);
    return 0;
}

std::string standardInput() {
    return {std::istreambuf_iterator<char>(std::cin), {}};
}

}  // namespace

int main(int argc, char** argv) {
    const std::string operation = argc == 4 ? argv[1] : "";
    const quernlight::KeychainStore store{argc == 4 ? argv[2] : ""};
    try {
        if (operation == "token") {
            const auto token = store.token(argv[3]);
            std::cout << token.value_or("") << std::flush;
            return token ? 0 : 3;
        }
        if (operation == "save") {
            store.saveToken(standardInput(), argv[3]);
            return 0;
        }
        if (operation == "delete") {
            store.deleteToken(argv[3]);
            return 0;
        }
        if (operation == "save-elsewhere") {
            return saveElsewhere(argv[2], argv[3], standardInput());
        }
        if (operation == "list") {
            return listItems(argv[2], argv[3]);
        }
    } catch (const quernlight::KeychainError& error) {
        std::cout << error.what() << std::flush;
        return 1;
    }
    return 2;
}
