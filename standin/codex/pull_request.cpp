#include "standin/codex/pull_request.hpp"

#include <algorithm>
#include <charconv>

#include "quernlight/platform/text.hpp"

namespace quernlight::standin::codex {
namespace {

std::optional<int> leadingNumber(std::string_view text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && number > 0 ? std::optional(number) : std::nullopt;
}

std::optional<HostedRepository> repositoryAt(std::string_view host, std::string_view path) {
    if (path.ends_with(".git")) {
        path.remove_suffix(4);
    }
    const std::size_t slash = path.find('/');
    if (host.empty() || slash == 0 || slash == std::string_view::npos || slash + 1 == path.size()) {
        return std::nullopt;
    }
    return HostedRepository{std::string(host), std::string(path.substr(0, slash)),
                            std::string(path.substr(slash + 1))};
}

}  // namespace

std::optional<HostedRepository> parseRemoteAddress(std::string_view address) {
    char beforePath = ':';
    if (const std::size_t scheme = address.find("://"); scheme != std::string_view::npos) {
        address.remove_prefix(scheme + 3);
        beforePath = '/';
    }
    const std::size_t separator = address.find(beforePath);
    if (separator == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view host = address.substr(0, separator);
    host.remove_prefix(host.find('@') + 1);  // npos + 1 is 0: no user
    return repositoryAt(host, address.substr(separator + 1));
}

std::string pullRequestURL(const HostedRepository& repository, int number) {
    return "https://" + repository.host + "/" + repository.owner + "/" + repository.name + "/pull/" +
           std::to_string(number);
}

std::string pullRequestRef(int number) {
    return "refs/pull/" + std::to_string(number) + "/head";
}

std::optional<int> pullRequestNumber(std::string_view url) {
    constexpr std::string_view marker = "/pull/";
    const std::size_t found = url.find(marker);
    return found == std::string_view::npos ? std::nullopt : leadingNumber(url.substr(found + marker.size()));
}

int nextPullRequestNumber(std::string_view remoteRefs) {
    constexpr std::string_view marker = "\trefs/pull/";
    int highest = 0;
    for (const std::string_view line : linesOf(remoteRefs)) {
        const std::size_t found = line.find(marker);
        if (found != std::string_view::npos) {
            highest = std::max(highest, leadingNumber(line.substr(found + marker.size())).value_or(0));
        }
    }
    return highest + 1;
}

}  // namespace quernlight::standin::codex
