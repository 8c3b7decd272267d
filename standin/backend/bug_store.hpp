#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "standin/backend/records.hpp"

namespace quernlight::standin {

/// A bug as a client app files it.
struct NewBug {
    std::string title;
    std::string description;
    std::optional<std::string> reporter;
    boost::json::object metadata;
    std::optional<std::string> logs;
};

/// A comment as it is posted. A `prURL` becomes the bug's; an agent's comment may also move the bug's status.
struct NewComment {
    std::string body;
    std::optional<std::string> authorType;
    boost::json::value metadata;
    std::optional<Url> prURL;
    std::vector<Attachment> attachments;
};

/// What a change of a bug touches; a field that is absent stays as it is.
struct BugChange {
    std::optional<std::string> status;
    std::optional<std::optional<Url>> prURL;  ///< present and empty: the link is cleared
};

/// Everything the stand-in backend holds: apps and their bugs with comments. Plain data without input or
/// output; the time of a change is an argument. One owner, one thread. Bugs are named by their short id; a
/// result that is null or false says that there is no such bug (or comment). Returned pointers and references
/// are good until the next change.
class BugStore {
  public:
    /// The app with this bundle identifier; it is created under `name` when there is none.
    const App& appFor(std::string_view bundleID, std::string_view name);
    /// Adds what a seed describes; false, and nothing is added, when its id (or its bundle) is taken.
    bool addApp(App app);
    bool addBug(Bug bug);
    bool addComment(const std::string& bug, Comment comment);

    const Bug& createBug(const App& app, NewBug draft, Instant now);
    const Comment* createComment(const std::string& bug, NewComment draft, Instant now);
    const Bug* changeBug(const std::string& bug, const BugChange& change, Instant now);
    bool deleteBug(const std::string& bug);
    bool deleteComment(const std::string& bug, std::string_view commentID);

    const std::vector<App>& apps() const { return apps_; }
    /// In the order in which they were added.
    const std::vector<Bug>& bugs() const { return bugs_; }
    const Bug* findBug(std::string_view bug) const;
    const App& appOf(const Bug& bug) const;
    const App* findApp(std::string_view bundleID) const;
    std::int64_t openCount(const App& app) const;
    /// Newest first (of the same age: first added first), at most `limit`, of every status when none is
    /// given.
    std::vector<const Bug*> newestBugs(const std::optional<std::string>& status, std::size_t limit) const;

    /// Grows with every change, so that an observer can tell whether there was one.
    std::uint64_t revision() const { return revision_; }

  private:
    Bug* bugNamed(std::string_view bug);

    std::vector<App> apps_;
    std::vector<Bug> bugs_;
    std::uint64_t revision_ = 0;
};

}  // namespace quernlight::standin
