#include "quernlight/git/remote_ref.hpp"

#include "quernlight/git/git_answer.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

/// In a partial clone git names the filter behind the line: "(fetch) [blob:none]".
std::string_view withoutFilter(std::string_view line) {
    const auto filter = line.rfind(" [");
    return line.ends_with(']') && filter != line.npos ? line.substr(0, filter) : line;
}

}  // namespace

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
