#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "quernlight/platform/url.hpp"

namespace quernlight {

/// A repository on a hosting service, normalised, so that two spellings of one repository are equal: host,
/// owner and name in lower case, the host without a leading "www.", the name without a trailing ".git".
struct RepositoryReference {
    std::string host;
    std::string owner;
    std::string repo;

    bool operator==(const RepositoryReference&) const = default;
};

RepositoryReference normalisedReference(std::string_view host, std::string_view owner, std::string_view repo);

/// The repository that a remote's address names: a URL with a host, whose path begins with owner and name, or
/// the scp style, user@host:owner/name. Nothing for any other text, a local path above all.
std::optional<RepositoryReference> parseRemoteAddress(std::string_view address);

/// A pull request, whatever service it is on: https://host/owner/repo/pull/NUMBER.
struct PullRequestReference {
    RepositoryReference repository;
    int number = 0;  ///< from 1

    bool operator==(const PullRequestReference&) const = default;
};

/// What follows the number is ignored. Nothing for a URL of another form or a number below 1.
std::optional<PullRequestReference> parsePullRequestURL(const Url& url);

}  // namespace quernlight
