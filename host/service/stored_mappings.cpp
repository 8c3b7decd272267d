#include "host/dispatcher/dispatcher.hpp"
#include "host/health/outside_failure.hpp"
#include "host/service/service_error.hpp"
#include "host/service/stored_operations.hpp"
#include "host/store/readable_queue.hpp"
#include "host/text/shell_text.hpp"
#include "host/text/terminal_text.hpp"
#include "host/worktree/git_marks.hpp"
#include "host/worktree/git_time_limit.hpp"
#include "host/worktree/resolved_mapping.hpp"
#include "quernlight/git/git_validator.hpp"
#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

ServiceError invalid(const std::string& sentence) {
    return {ServiceErrorCode::invalid, sentence};
}

void requireName(const std::string& option, const std::string& value) {
    if (displayWidth(withoutControls(trimmed(value))) == 0) {  // nobody could see it
        throw invalid("The option " + option + " is empty; give it a value. Nothing was changed.");
    }
    if (!isValidUtf8(value)) {
        throw invalid("The option " + option +
                      " is not valid UTF-8; give it a text that is. Nothing was changed.");
    }
}

void requireRepository(const GitValidationResult& validation, const std::string& path,
                       const std::string& baseBranch) {
    if (!validation.repositoryRoot) {
        throw invalid("There is no git repository at " + path + " (" + validation.message +
                      "); give the path of a checkout with --repo.");
    }
    if (!validation.isValid) {
        throw invalid("The repository " + path + " has no branch \"" + baseBranch + "\" (" +
                      validation.message + "); name one with --base.");
    }
}

/// Worktrees never go into the checkout's own directory, where git would take them for content.
void requireOutside(const std::string& worktrees, const std::string& root) {
    if (worktrees == root || WorktreeNaming::isInside(worktrees, root)) {
        throw invalid("The worktrees cannot lie inside the checkout " + root +
                      "; choose a directory beside it with --worktrees.");
    }
}

/// Nobody works on the item, and what its last session has come to is known.
Task<void> requireIdle(DispatchStore store, Uuid itemID, const ItemUses& uses) {
    const auto item = co_await store.items.item(itemID);
    const ItemWork work = uses.workOn ? uses.workOn(itemID) : ItemWork::none;
    if (!item || (!isReorderLocked(item->status) && work == ItemWork::none)) {
        co_return;
    }
    const std::string bug = "Bug " + item->bugID + " of " + item->bundleID;
    const std::string id = shellQuoted(item->bugID);
    if (work == ItemWork::session) {
        throw ServiceError(
            ServiceErrorCode::refused,
            bug + " is being worked on; stop that first with: quernlight-dispatch sessions stop " + id);
    }
    throw ServiceError(ServiceErrorCode::refused,
                       bug +
                           " had a session, and what that has come to is not known yet; have it found out, "
                           "and the bug held, with: quernlight-dispatch queue hold " +
                           id);
}

}  // namespace

Task<AppMapping> checkedMapping(std::filesystem::path home, MappingRequest request) {
    const std::string path = WorktreeNaming::standardizedPath(request.repository);
    const GitRunner ask = limitedGit(gitMarkOf(home), GitOutput::answer);
    const GitValidationResult validation = co_await GitValidator::validate(path, request.baseBranch, ask);
    requireRepository(validation, path, request.baseBranch);
    const std::string root = resolvedPath(*validation.repositoryRoot);
    const std::string worktrees =
        resolvedPath(request.worktrees ? *request.worktrees : WorktreeNaming::defaultRootPath(root));
    requireOutside(worktrees, root);
    if (const auto trouble = repositoryTrouble(root, worktrees)) {
        throw invalid(*trouble);
    }
    co_return AppMapping{.bundleID = request.bundleID,
                         .appName = request.appName,
                         .repoPath = root,
                         .worktreeRootPath = worktrees,
                         .baseBranch = request.baseBranch};
}

void requireNames(const MappingRequest& request) {
    requireName("--bundle", request.bundleID);
    requireName("--app", request.appName);
    requireName("--base", request.baseBranch);
    requireName("--repo", request.repository);
    requireName("--worktrees", request.worktrees.value_or("beside the checkout"));
}

Task<void> storeMapping(OwnedStore owned, AppMapping mapping) {
    co_await owned.store.mappings.upsert(mapping);
    co_await owned.manager->releaseWaitingItems(mapping.bundleID);
}

Task<AppMapping> removeMapping(OwnedStore owned, std::string bundleID, ItemUses uses) {
    const auto mapping = co_await owned.store.mappings.mapping(bundleID);
    if (!mapping) {
        throw ServiceError(ServiceErrorCode::notFound,
                           "No repository is mapped for " + bundleID + "; see: quernlight-dispatch map list");
    }
    const ItemClaim claim = uses.claim ? uses.claim(everyItem) : nullptr;
    for (const BugQueueItem& listed : co_await readableItems(owned.store)) {
        if (listed.bundleID == bundleID) {
            co_await requireIdle(owned.store, listed.id, uses);
        }
    }
    co_await owned.store.mappings.remove(bundleID);
    co_return *mapping;
}

Task<std::vector<MappingCheck>> checkMappings(std::filesystem::path home, DispatchStore store) {
    std::vector<MappingCheck> checks;
    for (AppMapping& mapping : co_await store.mappings.allMappings()) {
        MappingCheck check{.mapping = std::move(mapping)};
        try {
            MappingRequest request{.bundleID = check.mapping.bundleID,
                                   .appName = check.mapping.appName,
                                   .repository = check.mapping.repoPath,
                                   .baseBranch = check.mapping.baseBranch,
                                   .worktrees = check.mapping.worktreeRootPath};
            co_await checkedMapping(home, std::move(request));
        } catch (const ServiceError& error) {
            check.trouble = error.what();
        }
        checks.push_back(std::move(check));
    }
    co_return checks;
}

}  // namespace quernlight::host
