#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "host/settings/settings.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/platform/url.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// Where the administrator token comes from.
struct TokenSource {
    enum class Kind { option, environment, setting, store };

    Kind kind = Kind::store;
    std::filesystem::path file{};  ///< empty for the store

    bool operator==(const TokenSource&) const = default;
};

/// The file that was given, else the one that `QUERNLIGHT_TOKEN_FILE` names, else that of the setting
/// backend.token_file, else the user's token store.
TokenSource tokenSource(const std::optional<std::filesystem::path>& given, const EnvironmentMap& environment,
                        const Settings& settings);

/// "the file /home/me/token (option --token-file)", "the token store".
std::string describe(const TokenSource& source);

/// The kind in one word, for JSON.
std::string_view nameOf(TokenSource::Kind kind);

/// The user's token store (KeychainStore), where a backend's token is kept under its address. Its operations
/// block for 20 seconds at most, and throw UserError, which says what to do in its place, when there is no
/// store, or it is locked.
class TokenStore {
  public:
    explicit TokenStore(const Url& backend);

    /// Nothing when none is kept.
    std::optional<std::string> token() const;

    void save(const std::string& token) const;

    /// Nothing to remove is no error.
    void remove() const;

  private:
    const std::string account_;
};

/// The token. Throws UserError when there is none there; that of an empty store names the ways to give one.
Task<std::string> readToken(TokenSource source, Url backend);

}  // namespace quernlight::host
