#include "quernlight/git/remote_ref.hpp"

#include "quernlight/platform/text.hpp"

namespace quernlight {

std::vector<RemoteRef> parseRemotes(std::string_view listing) {
    constexpr std::string_view fetchMark = "(fetch)";
    std::vector<RemoteRef> remotes;
    for (const std::string_view line : linesOf(listing)) {
        const auto tab = line.find('\t');
        if (tab == line.npos || !line.ends_with(fetchMark)) {
            continue;
        }
        const auto address = trimmed(line.substr(tab + 1, line.size() - tab - 1 - fetchMark.size()));
        if (auto reference = parseRemoteAddress(address)) {
            remotes.push_back({std::string(line.substr(0, tab)), std::move(*reference)});
        }
    }
    return remotes;
}

}  // namespace quernlight
