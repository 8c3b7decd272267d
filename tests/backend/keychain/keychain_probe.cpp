// keychain-probe token|save|delete SERVICE ACCOUNT: one operation of the token store in a process of its own,
// since a process has one session bus for its whole life. "save" reads the token from standard input. Ends
// with status 0 and prints the token, with 3 when there is none, with 1 and the error's text.
#include <iostream>
#include <iterator>

#include "quernlight/backend/keychain_error.hpp"
#include "quernlight/backend/keychain_store.hpp"

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
            store.saveToken({std::istreambuf_iterator<char>(std::cin), {}}, argv[3]);
            return 0;
        }
        if (operation == "delete") {
            store.deleteToken(argv[3]);
            return 0;
        }
    } catch (const quernlight::KeychainError& error) {
        std::cout << error.what() << std::flush;
        return 1;
    }
    return 2;
}
