#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "quernlight/git/repository_reference.hpp"

namespace quernlight {

/// One of a clone's remotes, by the repository that it fetches from.
struct RemoteRef {
    std::string name;
    RepositoryReference reference;

    bool operator==(const RemoteRef&) const = default;
};

/// Reads what `git remote -v` printed. Remotes whose address names no repository on a host are left out.
std::vector<RemoteRef> parseRemotes(std::string_view listing);

}  // namespace quernlight
