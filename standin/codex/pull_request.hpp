#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quernlight::standin::codex {

/// Where a repository is hosted, read from the address of a remote.
struct HostedRepository {
    std::string host;
    std::string owner;
    std::string name;  ///< without ".git"

    bool operator==(const HostedRepository&) const = default;
};

/// Reads user@host:owner/repo.git or scheme://[user@]host/owner/repo.git; nothing for any other address.
std::optional<HostedRepository> parseRemoteAddress(std::string_view address);

/// The page of a pull request: https://host/owner/repo/pull/N.
std::string pullRequestURL(const HostedRepository& repository, int number);

/// The ref under which a host keeps a pull request's head.
std::string pullRequestRef(int number);

/// The number in a pull request's URL; nothing when it names none.
std::optional<int> pullRequestNumber(std::string_view url);

/// One more than the highest number among the refs/pull/N/head that `git ls-remote` listed; 1 without any.
int nextPullRequestNumber(std::string_view remoteRefs);

}  // namespace quernlight::standin::codex
