#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "quernlight/git/repository_reference.hpp"

namespace quernlight {

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
