#include "host/settings/token_source.hpp"

#include "host/process/token_file.hpp"
#include "host/process/user_error.hpp"
#include "quernlight/backend/keychain_store.hpp"
#include "quernlight/platform/background_executor.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr const char* tokenVariable = "QUERNLIGHT_TOKEN_FILE";

const KeychainStore& keychain() {
    static const KeychainStore store("Quernlight Dispatch");
    return store;
}

/// An address with and without a slash at its end is one backend.
std::string accountOf(const Url& backend) {
    std::string account = backend.text();
    while (account.ends_with('/')) {
        account.pop_back();
    }
    return account;
}

UserError unusable(const KeychainError& error) {
    std::string_view what = error.what();
    what.remove_suffix(what.ends_with('.') ? 1 : 0);
    return UserError("The token store cannot be used (" + std::string(what) +
                     "). Keep the token in a file that only you can read, written with: (umask 077; cat > "
                     "~/.quernlight-token), and name it with --token-file, QUERNLIGHT_TOKEN_FILE or the "
                     "setting backend.token_file.");
}

template <class Operation>
auto translated(Operation operation) {
    try {
        return operation();
    } catch (const KeychainError& error) {
        throw unusable(error);
    }
}

UserError noToken(const Url& backend) {
    return UserError("There is no administrator token for " + backend.text() +
                     "; store it with: quernlight-dispatch token set, or name a file that holds it with "
                     "--token-file, QUERNLIGHT_TOKEN_FILE or the setting backend.token_file.");
}

}  // namespace

TokenSource tokenSource(const std::optional<std::filesystem::path>& given, const EnvironmentMap& environment,
                        const Settings& settings) {
    using Kind = TokenSource::Kind;
    if (given) {
        return {.kind = Kind::option, .file = *given};
    }
    const auto variable = environment.find(tokenVariable);
    if (variable != environment.end() && !variable->second.empty()) {
        return {.kind = Kind::environment, .file = variable->second};
    }
    if (!settings.backendTokenFile.empty()) {
        return {.kind = Kind::setting, .file = settings.backendTokenFile};
    }
    return {.kind = Kind::store};
}

std::string describe(const TokenSource& source) {
    switch (source.kind) {
        case TokenSource::Kind::option:
            return "the file " + source.file.string() + " (option --token-file)";
        case TokenSource::Kind::environment:
            return "the file " + source.file.string() + " (environment variable " + tokenVariable + ")";
        case TokenSource::Kind::setting:
            return "the file " + source.file.string() + " (setting backend.token_file)";
        case TokenSource::Kind::store:
            break;
    }
    return "the token store";
}

std::string_view nameOf(TokenSource::Kind kind) {
    switch (kind) {
        case TokenSource::Kind::option:
            return "option";
        case TokenSource::Kind::environment:
            return "environment";
        case TokenSource::Kind::setting:
            return "setting";
        case TokenSource::Kind::store:
            break;
    }
    return "store";
}

TokenStore::TokenStore(const Url& backend) : account_(accountOf(backend)) {}

std::optional<std::string> TokenStore::token() const {
    const auto token = translated([this] { return keychain().token(account_); });
    return token && !trimmed(*token).empty() ? token : std::nullopt;
}

void TokenStore::save(const std::string& token) const {
    translated([&] { keychain().saveToken(token, account_); });
}

void TokenStore::remove() const {
    translated([this] { keychain().deleteToken(account_); });
}

Task<std::string> readToken(TokenSource source, Url backend) {
    if (source.kind != TokenSource::Kind::store) {
        co_return readToken(source.file);
    }
    const TokenStore store(backend);
    const auto ask = [&store] { return store.token(); };
    BackgroundExecutor thread;
    const std::optional<std::string> token = co_await thread.run(ask);
    if (!token) {
        throw noToken(backend);
    }
    co_return *token;
}

}  // namespace quernlight::host
