#include "quernlight/git/repository_reference.hpp"
#include "fuzz/property.hpp"

using namespace quernlight;

namespace {

/// Made normal once more, it has not become longer.
void checkReference(const RepositoryReference& reference) {
    const auto again = normalisedReference(reference.host, reference.owner, reference.repo);
    fuzz::require(again.host.size() <= reference.host.size(), "a normal form does not grow");
}

}  // namespace

/// Pull request URLs and the addresses of remotes come from outside.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzz::textOf(data, size);
    if (const auto url = Url::parse(text)) {
        fuzz::require(url->text() == text, "a URL keeps its text");
        if (const auto request = parsePullRequestURL(*url)) {
            fuzz::require(request->number >= 1, "pull requests count from 1");
            checkReference(request->repository);
        }
    }
    if (const auto reference = parseRemoteAddress(text)) {
        checkReference(*reference);
    }
    for (const RemoteRef& remote : parseRemotes(text)) {
        fuzz::require(!remote.name.empty(), "a remote has a name");
        checkReference(remote.reference);
    }
    return 0;
}
