#include "quernlight/git/needed_by_git.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace quernlight {
namespace {

/// What git, ssh, credential helpers and the hooks of a repository need to find their files, their agents and
/// the network. Variables that belong to one repository (`git rev-parse --local-env-vars`) are not among
/// them: a hook or an alias that started the caller leaves them in its environment, and they would win over
/// "-C". Nor is anything that asks a person, prints diagnostics, changes an answer or holds a secret.
constexpr std::array allowedNames = std::to_array<std::string_view>({
    "PATH",
    "HOME",
    "USER",
    "LOGNAME",
    "SHELL",
    "LANG",
    "TZ",
    "TMPDIR",
    "LD_LIBRARY_PATH",
    // agents, key rings, tickets; on macOS the login session and the chosen developer tools
    "SSH_AUTH_SOCK",
    "SSH_AGENT_PID",
    "SSH_SK_PROVIDER",
    "GNUPGHOME",
    "PASSWORD_STORE_DIR",
    "KRB5CCNAME",
    "KRB5_CONFIG",
    "DBUS_SESSION_BUS_ADDRESS",
    "GNOME_KEYRING_CONTROL",
    "GH_CONFIG_DIR",
    "SECURITYSESSIONID",
    "DEVELOPER_DIR",
    "__CF_USER_TEXT_ENCODING",
    // proxies and certificates
    "http_proxy",
    "https_proxy",
    "HTTPS_PROXY",
    "all_proxy",
    "ALL_PROXY",
    "no_proxy",
    "NO_PROXY",
    "SSL_CERT_FILE",
    "SSL_CERT_DIR",
    "NIX_SSL_CERT_FILE",
    "CURL_CA_BUNDLE",
    // git's own
    "GIT_ALLOW_PROTOCOL",
    "GIT_ATTR_NOSYSTEM",
    "GIT_CEILING_DIRECTORIES",
    "GIT_CONFIG_GLOBAL",
    "GIT_CONFIG_NOSYSTEM",
    "GIT_CONFIG_SYSTEM",
    "GIT_DISCOVERY_ACROSS_FILESYSTEM",
    "GIT_EXEC_PATH",
    "GIT_PROTOCOL_FROM_USER",
    "GIT_PROXY_COMMAND",
    "GIT_SSH",
    "GIT_SSH_COMMAND",
    "GIT_SSH_VARIANT",
    "GIT_TEMPLATE_DIR",
});

/// The last is the program's own: by such a mark it knows the processes that work for it.
constexpr std::array allowedPrefixes = std::to_array<std::string_view>({
    "LC_",
    "XDG_",
    "GCM_",
    "GIT_AUTHOR_",
    "GIT_COMMITTER_",
    "GIT_HTTP_",
    "GIT_LFS_",
    "GIT_PROXY_SSL_",
    "GIT_SSL_",
    "QUERNLIGHT_DISPATCH_",
});

bool isAllowed(std::string_view entry) {
    const std::string_view name = entry.substr(0, entry.find('='));
    const auto isPrefix = [name](std::string_view prefix) { return name.starts_with(prefix); };
    return std::ranges::find(allowedNames, name) != allowedNames.end() ||
           std::ranges::any_of(allowedPrefixes, isPrefix);
}

}  // namespace

std::vector<std::string> neededByGit(std::vector<std::string> environment) {
    std::erase_if(environment, [](const std::string& entry) { return !isAllowed(entry); });
    return environment;
}

}  // namespace quernlight
