#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quernlight/platform/url.hpp"

namespace quernlight {

// Pure functions of text, for any thread; what names no repository or request is an absent value, no error.

/// A repository on a hosting service, normalised, so that two spellings of one repository are equal: host,
/// owner and name in lower case, the host without a leading "www.", the name without a trailing ".git".
struct RepositoryReference {
    std::string host;  ///< without the port
    std::string owner;
    std::string repo;  ///< the repository's name

    bool operator==(const RepositoryReference&) const = default;
};

/// The three as they are written anywhere, made comparable.
RepositoryReference normalisedReference(std::string_view host, std::string_view owner, std::string_view repo);

/// The repository that a remote's address names: a URL with a host, whose path begins with owner and name, or
/// the scp style, user@host:owner/name with nothing behind it. Nothing for any other text, a local path above
/// all.
std::optional<RepositoryReference> parseRemoteAddress(std::string_view address);

/// A pull request, whatever service it is on: https://host/owner/repo/pull/NUMBER.
struct PullRequestReference {
    RepositoryReference repository;
    std::int64_t number = 0;  ///< from 1

    bool operator==(const PullRequestReference&) const = default;
};

/// What follows the number is ignored. Nothing for a URL of another form, or for a number below 1 or beyond
/// 64 bits.
std::optional<PullRequestReference> parsePullRequestURL(const Url& url);

/// One of a clone's remotes, by the repository that it fetches from.
struct RemoteRef {
    std::string name;               ///< git's name for it, such as "origin"
    RepositoryReference reference;  ///< read from its fetch address

    bool operator==(const RemoteRef&) const = default;
};

/// Reads what `git remote -v` printed, in its order: lines of a name, an address and "(fetch)", and behind it
/// a filter in brackets in a partial clone. Other lines, and remotes whose address names no repository on a
/// host, are left out. Pure.
std::vector<RemoteRef> parseRemotes(std::string_view listing);

}  // namespace quernlight
