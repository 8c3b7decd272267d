#include "host/commands/map_command.hpp"

#include <iostream>

#include "host/process/dispatch_home.hpp"
#include "host/process/event_loop.hpp"
#include "host/process/home_lock.hpp"
#include "host/process/user_error.hpp"
#include "host/store/dispatch_store.hpp"
#include "host/text/terminal_text.hpp"
#include "host/worktree/git_marks.hpp"
#include "host/worktree/git_time_limit.hpp"
#include "host/worktree/resolved_mapping.hpp"
#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/git/git_validator.hpp"
#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/platform/text.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {
namespace {

void requireName(const std::string& option, const std::string& value) {
    if (displayWidth(withoutControls(trimmed(value))) == 0) {  // nobody could see it
        throw UserError("The option " + option + " is empty; give it a value. Nothing was changed.");
    }
}

/// The mapping to store. Worktrees never go into the checkout's own directory, where git would take them for
/// content.
Task<AppMapping> checkedMapping(MapSetOptions options) {
    const std::string path = WorktreeNaming::standardizedPath(options.repo);
    const GitRunner ask = limitedGit(gitMarkOf(*options.home), GitOutput::answer);
    const GitValidationResult validation = co_await GitValidator::validate(path, options.baseBranch, ask);
    if (!validation.isValid) {
        throw UserError(validation.repositoryRoot
                            ? "The repository " + path + " has no branch \"" + options.baseBranch + "\" (" +
                                  validation.message + "); name one with --base."
                            : "There is no git repository at " + path + " (" + validation.message +
                                  "); give the path of a checkout with --repo.");
    }
    const std::string root = resolvedPath(*validation.repositoryRoot);
    const std::string worktrees =
        resolvedPath(options.worktrees ? *options.worktrees : WorktreeNaming::defaultRootPath(root));
    if (worktrees == root || WorktreeNaming::isInside(worktrees, root)) {
        throw UserError("The worktrees cannot lie inside the checkout " + root +
                        "; choose a directory beside it with --worktrees.");
    }
    co_return AppMapping{.bundleID = options.bundleID,
                         .appName = options.appName,
                         .repoPath = root,
                         .worktreeRootPath = worktrees,
                         .baseBranch = options.baseBranch};
}

Task<void> setAndTell(MapSetOptions options) {
    const AppMapping mapping = co_await setMapping(std::move(options));
    std::cout << withoutControls(mapping.bundleID + " (" + mapping.appName) << ") is worked on in "
              << mapping.repoPath << ", from branch " << mapping.baseBranch << ", with worktrees in "
              << *mapping.worktreeRootPath << std::endl;
}

Task<void> listMappings(std::filesystem::path home) {
    const DispatchStore store = co_await DispatchStore::openForReading(std::move(home));
    const auto mappings = co_await store.mappings.allMappings();
    for (const AppMapping& mapping : mappings) {
        std::cout << withoutControls(mapping.bundleID + "  " + mapping.appName) << "  " << mapping.repoPath
                  << "  " << mapping.baseBranch << "  " << mapping.resolvedWorktreeRootPath() << "\n";
    }
    if (mappings.empty()) {
        std::cout
            << "No mappings yet; add one with: quernlight-dispatch map set --bundle B --app NAME --repo PATH\n";
    }
}

int statusOf(Task<void> work) {
    boost::asio::io_context io;
    return runUnlessInterrupted(io, std::move(work)) ? 130 : 0;
}

}  // namespace

Task<AppMapping> setMapping(MapSetOptions options) {
    const DispatchStore store = co_await DispatchStore::open(FileLocations::databaseURL(*options.home));
    AppMapping mapping = co_await checkedMapping(std::move(options));
    QueueManager manager(store.items, store.mappings, Url());
    co_await store.mappings.upsert(mapping);
    co_await manager.releaseWaitingItems(mapping.bundleID);
    co_return mapping;
}

int mapSetCommand(const MapSetOptions& options) {
    requireName("--bundle", options.bundleID);
    requireName("--app", options.appName);
    requireName("--base", options.baseBranch);
    requireName("--repo", options.repo);
    requireName("--worktrees", options.worktrees.value_or("beside the checkout"));
    MapSetOptions located = options;
    located.home = openDispatchHome(options.home);
    const HomeLock lock(*located.home);
    return statusOf(setAndTell(std::move(located)));
}

int mapListCommand(const std::optional<std::filesystem::path>& home) {
    return statusOf(listMappings(findDispatchHome(home)));
}

}  // namespace quernlight::host
