#include "quernlight/git/git_environment.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace quernlight {
namespace {

/// What `git rev-parse --local-env-vars` lists: variables that belong to one repository. A hook or an alias
/// that started the caller leaves them in its environment, and they would win over "-C".
constexpr std::array repositoryVariables = std::to_array<std::string_view>({
    "GIT_ALTERNATE_OBJECT_DIRECTORIES",
    "GIT_COMMON_DIR",
    "GIT_CONFIG",
    "GIT_CONFIG_COUNT",
    "GIT_CONFIG_PARAMETERS",
    "GIT_DIR",
    "GIT_GRAFT_FILE",
    "GIT_IMPLICIT_WORK_TREE",
    "GIT_INDEX_FILE",
    "GIT_INTERNAL_SUPER_PREFIX",
    "GIT_NO_REPLACE_OBJECTS",
    "GIT_OBJECT_DIRECTORY",
    "GIT_PREFIX",
    "GIT_REPLACE_REF_BASE",
    "GIT_SHALLOW_FILE",
    "GIT_WORK_TREE",
});

/// Variables that are set here, and those that print diagnostics between the lines of an answer.
constexpr std::array replacedVariables = std::to_array<std::string_view>({
    "GIT_ASKPASS",
    "GIT_CURL_VERBOSE",
    "GIT_PAGER",
    "GIT_TERMINAL_PROMPT",
    "LANGUAGE",
    "SSH_ASKPASS_REQUIRE",
});

constexpr std::array leftOutPrefixes = std::to_array<std::string_view>({
    "GIT_CONFIG_KEY_",
    "GIT_CONFIG_VALUE_",
    "GIT_TRACE",
});

/// Besides settings that would change an answer, how long git waits (milliseconds) for a ref that another git
/// holds: the agents work in the same repositories.
constexpr std::array pinnedConfiguration = std::to_array<std::pair<std::string_view, std::string_view>>({
    {"color.ui", "false"},
    {"color.advice", "false"},
    {"color.branch", "false"},
    {"color.diff", "false"},
    {"color.grep", "false"},
    {"color.push", "false"},
    {"color.remote", "false"},
    {"color.status", "false"},
    {"color.transport", "false"},
    {"core.filesRefLockTimeout", "10000"},
    {"core.packedRefsTimeout", "10000"},
    {"core.pager", "cat"},
    {"core.quotePath", "false"},
    {"grep.patternType", "basic"},
    {"i18n.logOutputEncoding", "UTF-8"},
    {"log.showSignature", "false"},
    {"merge.default", "text"},
    {"merge.directoryRenames", "conflict"},
    {"merge.renameLimit", "7000"},
    {"merge.renames", "true"},
    {"merge.renormalize", "false"},
});

bool isLeftOut(std::string_view entry) {
    const std::string_view name = entry.substr(0, entry.find('='));
    const auto isName = [name](std::string_view other) { return name == other; };
    const auto isPrefix = [name](std::string_view prefix) { return name.starts_with(prefix); };
    return std::ranges::any_of(repositoryVariables, isName) ||
           std::ranges::any_of(replacedVariables, isName) || std::ranges::any_of(leftOutPrefixes, isPrefix);
}

void appendPinnedConfiguration(std::vector<std::string>& environment) {
    environment.push_back("GIT_CONFIG_COUNT=" + std::to_string(pinnedConfiguration.size()));
    for (std::size_t index = 0; index < pinnedConfiguration.size(); ++index) {
        const std::string number = std::to_string(index);
        const auto& [key, value] = pinnedConfiguration[index];
        environment.push_back("GIT_CONFIG_KEY_" + number + "=" + std::string(key));
        environment.push_back("GIT_CONFIG_VALUE_" + number + "=" + std::string(value));
    }
}

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

std::vector<std::string> gitEnvironment(std::vector<std::string> inherited) {
    std::vector<std::string> environment = std::move(inherited);
    std::erase_if(environment, [](const std::string& entry) { return isLeftOut(entry); });
    // Nobody is there to answer a question, on the terminal or in a window; an empty GIT_ASKPASS also
    // overrides SSH_ASKPASS and core.askPass for git itself (gitcredentials(7)), and the last variable does
    // so for ssh(1).
    environment.push_back("GIT_TERMINAL_PROMPT=0");
    environment.push_back("GIT_ASKPASS=");
    environment.push_back("SSH_ASKPASS_REQUIRE=never");
    environment.push_back("GIT_PAGER=cat");
    // In another language its warnings could not be told from an answer (gettext(3)).
    environment.push_back("LANGUAGE=C");
    // Tracing that the user has configured would mix into the answers; git reads that before anything that is
    // pinned below, and only the environment wins over it (api-trace2).
    for (const char* target : {"GIT_TRACE2=0", "GIT_TRACE2_PERF=0", "GIT_TRACE2_EVENT=0"}) {
        environment.emplace_back(target);
    }
    appendPinnedConfiguration(environment);
    return environment;
}

std::vector<std::string> neededByGit(std::vector<std::string> environment) {
    std::erase_if(environment, [](const std::string& entry) { return !isAllowed(entry); });
    return environment;
}

}  // namespace quernlight
