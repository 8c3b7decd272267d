#include "host/service/preserved_operations.hpp"

#include <algorithm>
#include <filesystem>

#include "host/process/user_error.hpp"
#include "host/service/service_error.hpp"
#include "host/text/terminal_text.hpp"
#include "host/worktree/git_marks.hpp"
#include "host/worktree/git_time_limit.hpp"
#include "host/worktree/resolved_mapping.hpp"
#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

namespace fs = std::filesystem;

/// A git that has to be ended runs no further command, so every use has a runner of its own.
GitRunner gitFor(StoreAccess& access, GitSlots& slots) {
    return slots.inTurn(limitedGit(gitMarkOf(access.home()), GitOutput::answer));
}

/// Two apps may share a repository: then the branch's name tells whose work it is.
bool isNamedAfter(const PreservedWork& work) {
    return work.name.starts_with(WorktreeNaming::branchName(work.appName, work.bugID));
}

void add(std::vector<PreservedWork>& works, PreservedWork work) {
    const auto known = std::ranges::find_if(works, [&](const PreservedWork& other) {
        return other.repository == work.repository && other.reference == work.reference;
    });
    if (known == works.end()) {
        works.push_back(std::move(work));
    } else if (isNamedAfter(work)) {
        *known = std::move(work);
    }
}

std::string namesOf(const std::vector<PreservedWork>& works) {
    std::string names;
    for (const PreservedWork& work : works) {
        names += (names.empty() ? "" : ", ") + withoutControls(work.name);
    }
    return names;
}

std::vector<PreservedWork> thoseOf(const std::vector<PreservedWork>& works,
                                   const std::function<bool(const PreservedWork&)>& isMeant) {
    std::vector<PreservedWork> found;
    std::ranges::copy_if(works, std::back_inserter(found), isMeant);
    return found;
}

ServiceError invalid(const std::string& sentence) {
    return {ServiceErrorCode::invalid, sentence + "; nothing was changed."};
}

bool isWithin(const std::string& path, const std::string& directory) {
    return path == directory || WorktreeNaming::isInside(path, directory);
}

bool isGitDirectory(const fs::path& place) {
    std::error_code unknown;
    return fs::exists(place / "HEAD", unknown) && fs::is_directory(place / "objects", unknown) &&
           fs::is_directory(place / "refs", unknown);
}

/// The checkout or repository that the path lies in, whoever it belongs to; empty where there is none.
std::string repositoryAround(const fs::path& path) {
    std::error_code unknown;
    for (fs::path place = path.parent_path();; place = place.parent_path()) {
        const bool isLinked = fs::is_regular_file(place / ".git", unknown);  // a worktree, or a submodule
        if (isLinked || isGitDirectory(place) || isGitDirectory(place / ".git")) {
            return place.string();
        }
        if (place == place.parent_path()) {
            return "";
        }
    }
}

/// Nothing there is overwritten, and nobody takes it for a bug's worktree or for content of the checkout.
void requirePlace(const std::string& directory, const AppMapping& mapping, const fs::path& home) {
    const std::string path = resolvedPath(directory);
    std::error_code error;
    if (!fs::path(directory).is_absolute()) {
        throw invalid("The directory " + directory + " is no absolute path");
    }
    if (fs::symlink_status(directory, error).type() != fs::file_type::not_found) {
        throw invalid("There is something at " + directory + " already; name a directory that is not there");
    }
    if (!fs::is_directory(fs::path(path).parent_path(), error)) {
        throw invalid("The directory " + fs::path(path).parent_path().string() +
                      " is not there; make it first");
    }
    for (const std::string& taken : {resolvedPath(mapping.repoPath), resolvedPath(home.string()),
                                     resolvedPath(mapping.resolvedWorktreeRootPath())}) {
        if (isWithin(path, taken)) {
            throw invalid("The directory " + directory + " lies inside of " + taken +
                          ", where it could be taken for something else; name one elsewhere");
        }
    }
    if (const std::string around = repositoryAround(path); !around.empty()) {
        throw invalid("The directory " + directory + " lies inside of the git repository at " + around +
                      ", which would take it for its own; name one elsewhere");
    }
}

}  // namespace

PreservedWork preservedNamed(const std::vector<PreservedWork>& works, const std::string& name) {
    const std::string id = lowercased(trimmed(name));
    auto found = thoseOf(
        works, [&](const PreservedWork& work) { return work.reference == name || work.name == name; });
    if (found.empty() && !id.empty()) {
        found = thoseOf(works, [&](const PreservedWork& work) { return work.bugID.starts_with(id); });
    }
    if (found.empty()) {
        throw ServiceError(ServiceErrorCode::notFound, "Nothing is kept by the name \"" +
                                                           withoutControls(name) +
                                                           "\"; see: quernlight-dispatch preserved list");
    }
    if (found.size() > 1) {
        throw ServiceError(ServiceErrorCode::ambiguous,
                           "Several things are kept of that: " + namesOf(found) + "; name one of them.");
    }
    return found.front();
}

Task<PreservedList> keptWorks(StoreAccess& access, GitSlots& slots) {
    const DispatchStore store = co_await access.forReading();
    PreservedList list;
    for (AppMapping& mapping : co_await store.mappings.allMappings()) {
        try {
            const GitRunner git = gitFor(access, slots);
            for (PreservedWork& work : co_await preservedIn(resolved(std::move(mapping)), git)) {
                add(list.works, std::move(work));
            }
        } catch (const UserError& error) {
            list.troubles.emplace_back(error.what());
        }
    }
    std::ranges::sort(list.works, std::greater<>(), &PreservedWork::keptAt);
    list.total = list.works.size();
    co_return list;
}

Task<PreservedList> listPreserved(StoreAccess& access, GitSlots& slots, ListRange range) {
    PreservedList list = co_await keptWorks(access, slots);
    range.cut(list.works);
    for (PreservedWork& work : list.works) {
        work = co_await measured(std::move(work), gitFor(access, slots));
    }
    co_return list;
}

Task<PreservedDetails> showPreserved(StoreAccess& access, GitSlots& slots, std::string name) {
    const PreservedList list = co_await keptWorks(access, slots);
    PreservedWork work = preservedNamed(list.works, name);
    work = co_await measured(std::move(work), gitFor(access, slots));
    PreservedDetails details = co_await preservedDetails(std::move(work), gitFor(access, slots));
    for (const PreservedWork& other : list.works) {
        if (other.bugID == details.work.bugID && other.reference != details.work.reference) {
            details.others.push_back(other.name);
        }
    }
    co_return details;
}

Task<RestoredWork> restore(StoreAccess& access, GitSlots& slots, RestoreRequest request) {
    if (!request.directory && !request.branch) {
        throw invalid("Say where it is to go: a directory with --to, a branch with --branch, or both");
    }
    const PreservedList list = co_await keptWorks(access, slots);
    PreservedWork work = preservedNamed(list.works, request.name);
    const DispatchStore store = co_await access.forReading();
    const auto mapping = co_await store.mappings.mapping(work.bundleID);
    if (request.directory && mapping) {
        requirePlace(*request.directory, *mapping, access.home());
    }
    try {
        work = co_await measured(std::move(work), gitFor(access, slots));
        const GitRunner git = gitFor(access, slots);
        Task<RestoredWork> restoring = restorePreserved(std::move(work), std::move(request), git);
        co_return co_await std::move(restoring);
    } catch (const UserError& error) {
        throw ServiceError(ServiceErrorCode::invalid, error.what());
    }
}

}  // namespace quernlight::host
