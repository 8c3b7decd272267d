#include "host/retirement/pull_request_fetch.hpp"

#include <algorithm>
#include <string_view>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

// "-C", repository, "fetch", "--quiet", remote, base branch, pull request (see PullRequestMergeChecker)
constexpr std::size_t commandPlace = 2;
constexpr std::size_t remotePlace = 4;
constexpr std::size_t pullRequestPlace = 6;
constexpr std::size_t fetchLength = 7;

constexpr int fatalStatus = 128;

bool isFetch(const std::vector<std::string>& arguments) {
    return arguments.size() == fetchLength && arguments[commandPlace] == "fetch";
}

std::string headOf(std::int64_t number) {
    return "refs/pull/" + std::to_string(number) + "/head";
}

/// "+SOURCE:DESTINATION"
std::string sourceOf(const std::string& refspec) {
    const std::size_t begin = refspec.starts_with('+') ? 1 : 0;
    return refspec.substr(begin, refspec.find(':') - begin);
}

std::string pullRequestRefspec(std::int64_t number, const std::string& remote) {
    return "+" + headOf(number) + ":refs/remotes/" + remote + "/pull/" + std::to_string(number) + "/head";
}

/// The references in the lines "ID\tREFERENCE" of git ls-remote.
std::set<std::string> referencesIn(const std::string& listing) {
    std::set<std::string> references;
    for (const std::string_view line : linesOf(listing)) {
        references.emplace(line.substr(line.find('\t') + 1));
    }
    return references;
}

}  // namespace

GitRunner PullRequestFetch::runner() {
    return [this](std::vector<std::string> arguments) {
        return isFetch(arguments) ? fetchOnce(std::move(arguments)) : run_(std::move(arguments));
    };
}

Task<GitCommandResult> PullRequestFetch::fetchOnce(std::vector<std::string> arguments) {
    const std::string source = sourceOf(arguments[pullRequestPlace]);
    if (!result_) {
        co_await fetchAll(arguments);
    }
    if (absent_.contains(source)) {
        co_return GitCommandResult{fatalStatus, "fatal: couldn't find remote ref " + source};
    }
    if (eachAlone_) {
        co_return co_await run_(std::move(arguments));
    }
    co_return *result_;
}

/// One reference that the remote does not have fails the fetch of all: then those that it has are fetched.
/// Which these are git is asked and not its message, whose words depend on the system's language. When it is
/// something else that fails, and the remote answers, each is fetched alone: it may concern only some.
Task<void> PullRequestFetch::fetchAll(std::vector<std::string> arguments) {
    const std::string remote = arguments[remotePlace];
    arguments.pop_back();
    for (const std::int64_t number : numbers_) {
        arguments.push_back(pullRequestRefspec(number, remote));
    }
    result_ = co_await run_(arguments);
    if (!result_->succeeded() && numbers_.size() > 1) {
        co_await fetchPresent(std::move(arguments));
    }
}

Task<void> PullRequestFetch::fetchPresent(std::vector<std::string> arguments) {
    std::vector<std::string> list{arguments[0], arguments[1], "ls-remote", arguments[remotePlace]};
    for (const std::int64_t number : numbers_) {
        list.push_back(headOf(number));
    }
    const GitCommandResult listed = co_await run_(std::move(list));
    if (!listed.succeeded()) {
        co_return;
    }
    const std::set<std::string> present = referencesIn(listed.output);
    for (const std::int64_t number : numbers_) {
        if (!present.contains(headOf(number))) {
            absent_.insert(headOf(number));
        }
    }
    if (!absent_.empty()) {
        std::erase_if(arguments,
                      [this](const std::string& refspec) { return absent_.contains(sourceOf(refspec)); });
        result_ = co_await run_(std::move(arguments));
    }
    eachAlone_ = absent_.empty() || !result_->succeeded();
}

}  // namespace quernlight::host
