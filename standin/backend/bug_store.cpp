#include "standin/backend/bug_store.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace quernlight::standin {
namespace {

/// The status that an agent's comment reports, when it is one that moves the bug.
std::optional<std::string> reportedStatus(const NewComment& draft) {
    const auto* metadata = draft.metadata.if_object();
    const auto* status = metadata ? metadata->if_contains("status") : nullptr;
    if (draft.authorType != "agent" || !status || !status->is_string()) {
        return std::nullopt;
    }
    const std::string_view text = status->get_string();
    return text == "in_review" || text == "investigate" ? std::optional<std::string>(text) : std::nullopt;
}

Comment commentOf(NewComment draft, Instant now) {
    Comment comment;
    comment.id = randomUuid();
    comment.body = std::move(draft.body);
    comment.authorType = std::move(draft.authorType);
    comment.metadata = std::move(draft.metadata);
    comment.attachments = std::move(draft.attachments);
    comment.createdAt = now;
    comment.updatedAt = now;
    return comment;
}

}  // namespace

const App& BugStore::appFor(std::string_view bundleID, std::string_view name) {
    if (const App* known = findApp(bundleID)) {
        return *known;
    }
    apps_.push_back({.id = randomUuid(), .bundleID = std::string(bundleID), .name = std::string(name)});
    ++revision_;
    return apps_.back();
}

bool BugStore::addApp(App app) {
    const auto clashes = [&](const App& other) {
        return other.bundleID == app.bundleID || other.id == app.id;
    };
    if (std::any_of(apps_.begin(), apps_.end(), clashes)) {
        return false;
    }
    apps_.push_back(std::move(app));
    ++revision_;
    return true;
}

bool BugStore::addBug(Bug bug) {
    if (findBug(shortID(bug.id))) {
        return false;
    }
    bugs_.push_back(std::move(bug));
    ++revision_;
    return true;
}

bool BugStore::addComment(const std::string& bug, Comment comment) {
    Bug* found = bugNamed(bug);
    if (!found) {
        return false;
    }
    found->comments.push_back(std::move(comment));
    ++revision_;
    return true;
}

const Bug& BugStore::createBug(const App& app, NewBug draft, Instant now) {
    Bug bug;
    do {
        bug.id = lowerCaseText(randomUuid());
    } while (findBug(shortID(bug.id)));
    bug.appID = app.id;
    bug.title = std::move(draft.title);
    bug.description = std::move(draft.description);
    bug.reporter = std::move(draft.reporter);
    bug.metadata = std::move(draft.metadata);
    if (draft.logs) {
        bug.logKey = "logs/" + bug.id + ".txt";
        bug.logs = std::move(draft.logs);
    }
    bug.occurredAt = bug.createdAt = bug.updatedAt = now;
    bugs_.push_back(std::move(bug));
    ++revision_;
    return bugs_.back();
}

const Comment* BugStore::createComment(const std::string& bug, NewComment draft, Instant now) {
    Bug* found = bugNamed(bug);
    if (!found) {
        return nullptr;
    }
    if (draft.prURL) {
        found->prURL = draft.prURL;
    }
    if (const auto status = reportedStatus(draft)) {
        found->status = *status;
    }
    found->updatedAt = now;
    found->comments.push_back(commentOf(std::move(draft), now));
    ++revision_;
    return &found->comments.back();
}

const Bug* BugStore::changeBug(const std::string& bug, const BugChange& change, Instant now) {
    Bug* found = bugNamed(bug);
    if (!found) {
        return nullptr;
    }
    found->status = change.status.value_or(found->status);
    found->prURL = change.prURL.value_or(found->prURL);
    found->updatedAt = now;
    ++revision_;
    return found;
}

bool BugStore::deleteBug(const std::string& bug) {
    const auto erased = std::erase_if(bugs_, [&](const Bug& other) { return shortID(other.id) == bug; });
    revision_ += erased;
    return erased > 0;
}

bool BugStore::deleteComment(const std::string& bug, std::string_view commentID) {
    Bug* found = bugNamed(bug);
    if (!found) {
        return false;
    }
    const auto erased = std::erase_if(
        found->comments, [&](const Comment& comment) { return upperCaseText(comment.id) == commentID; });
    revision_ += erased;
    return erased > 0;
}

const Bug* BugStore::findBug(std::string_view bug) const {
    const auto found =
        std::find_if(bugs_.begin(), bugs_.end(), [&](const Bug& other) { return shortID(other.id) == bug; });
    return found == bugs_.end() ? nullptr : &*found;
}

Bug* BugStore::bugNamed(std::string_view bug) {
    return const_cast<Bug*>(std::as_const(*this).findBug(bug));
}

const App* BugStore::findApp(std::string_view bundleID) const {
    const auto found =
        std::find_if(apps_.begin(), apps_.end(), [&](const App& app) { return app.bundleID == bundleID; });
    return found == apps_.end() ? nullptr : &*found;
}

const App& BugStore::appOf(const Bug& bug) const {
    const auto found =
        std::find_if(apps_.begin(), apps_.end(), [&](const App& app) { return app.id == bug.appID; });
    if (found == apps_.end()) {
        throw std::logic_error("The bug " + bug.id + " belongs to no app.");
    }
    return *found;
}

std::int64_t BugStore::openCount(const App& app) const {
    return std::count_if(bugs_.begin(), bugs_.end(),
                         [&](const Bug& bug) { return bug.appID == app.id && bug.status == "open"; });
}

std::vector<const Bug*> BugStore::newestBugs(const std::optional<std::string>& status,
                                             std::size_t limit) const {
    std::vector<const Bug*> listed;
    for (const Bug& bug : bugs_) {
        if (!status || bug.status == *status) {
            listed.push_back(&bug);
        }
    }
    std::sort(listed.begin(), listed.end(), [](const Bug* one, const Bug* other) {
        return one->createdAt != other->createdAt ? one->createdAt > other->createdAt : one < other;
    });
    listed.resize(std::min(limit, listed.size()));
    return listed;
}

}  // namespace quernlight::standin
