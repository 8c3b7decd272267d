#include "quernlight/git/repository_reference.hpp"

#include <charconv>
#include <system_error>

#include "quernlight/git/git_command_result.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

std::string withoutPrefix(std::string text, std::string_view prefix) {
    return text.starts_with(prefix) ? text.substr(prefix.size()) : text;
}

std::string withoutSuffix(std::string text, std::string_view suffix) {
    return text.ends_with(suffix) ? text.substr(0, text.size() - suffix.size()) : text;
}

std::optional<RepositoryReference> parseScpStyle(std::string_view address) {
    const auto at = address.find('@');
    const auto colon = at == address.npos ? at : address.find(':', at + 1);
    if (colon == address.npos) {
        return std::nullopt;
    }
    const std::string_view host = address.substr(at + 1, colon - at - 1);
    const auto pieces = piecesBetweenSlashes(address.substr(colon + 1));
    const bool isLocal = address.substr(0, colon).find('/') != address.npos;  // see git-clone(1)
    const bool hasNames = !isLocal && !host.empty() && pieces.size() == 2;
    return hasNames ? std::optional(normalisedReference(host, pieces[0], pieces[1])) : std::nullopt;
}

/// A decimal integer with an optional sign, of at least 1.
std::optional<std::int64_t> parsePullRequestNumber(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole && number >= 1 ? std::optional(number) : std::nullopt;
}

/// In a partial clone git names the filter behind the line: "(fetch) [blob:none]".
std::string_view withoutFilter(std::string_view line) {
    const auto filter = line.rfind(" [");
    return line.ends_with(']') && filter != line.npos ? line.substr(0, filter) : line;
}

}  // namespace

RepositoryReference normalisedReference(std::string_view host, std::string_view owner,
                                        std::string_view repo) {
    return {.host = withoutPrefix(lowercased(host), "www."),
            .owner = lowercased(owner),
            .repo = withoutSuffix(lowercased(repo), ".git")};
}

std::optional<RepositoryReference> parseRemoteAddress(std::string_view address) {
    const auto url = Url::parse(address);
    if (!url || url->host().empty()) {
        return parseScpStyle(address);
    }
    const auto segments = url->pathSegments();
    return segments.size() < 2 ? std::nullopt
                               : std::optional(normalisedReference(url->host(), segments[0], segments[1]));
}

std::optional<PullRequestReference> parsePullRequestURL(const Url& url) {
    const auto segments = url.pathSegments();
    if (url.host().empty() || segments.size() < 4 || segments[2] != "pull") {
        return std::nullopt;
    }
    const auto number = parsePullRequestNumber(segments[3]);
    if (!number) {
        return std::nullopt;
    }
    return PullRequestReference{normalisedReference(url.host(), segments[0], segments[1]), *number};
}

std::vector<RemoteRef> parseRemotes(std::string_view listing) {
    constexpr std::string_view fetchMark = "(fetch)";
    std::vector<RemoteRef> remotes;
    for (const std::string_view listed : answerLines(listing)) {
        const std::string_view line = withoutFilter(listed);
        const auto nameEnd = line.find_first_of("\t ");
        if (nameEnd == line.npos || nameEnd == 0 || !line.ends_with(fetchMark)) {
            continue;
        }
        const auto address = trimmed(line.substr(nameEnd, line.size() - nameEnd - fetchMark.size()));
        if (auto reference = parseRemoteAddress(address)) {
            remotes.push_back({std::string(line.substr(0, nameEnd)), std::move(*reference)});
        }
    }
    return remotes;
}

}  // namespace quernlight
