#include "host/demo/demo_bugs.hpp"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/platform/bug_id.hpp"

namespace quernlight::host {
namespace json = boost::json;
namespace {

json::object seedOf(const DemoBug& bug) {
    json::object seed{{"id", bug.id}, {"title", bug.title}, {"bundle_id", demoBundleID}};
    if (!bug.description.empty()) {
        seed["description"] = bug.description;
    }
    if (bug.outcome == ExpectedOutcome::followedUp) {
        seed["status"] = "in_review";
        seed["pr_url"] = demoPullRequestURL;
    }
    return seed;
}

}  // namespace

std::string DemoBug::shortID() const {
    return BugID::normalized(id);
}

std::string DemoBug::branch() const {
    return WorktreeNaming::branchName(demoAppName, id);
}

const std::vector<DemoBug>& demoBugs() {
    static const std::vector<DemoBug> bugs{
        {.id = "7C41E0AB-52D6-4B0F-9A63-1D0C5E2F8A01",
         .title = "Saving an empty note crashes",
         .description =
             "Open Notes, press New, press Save without typing. Expected: nothing is saved. Seen: crash.",
         .outcome = ExpectedOutcome::fixed},
        {.id = "2E9B6D14-07C3-4F58-8B1E-6A4D93C7F502",
         .title = "Search misses accented words",
         .description = "Searching for \"resume\" does not find a note that says \"résumé\".",
         .outcome = ExpectedOutcome::followedUp},
        {.id = "B05D83F7-91EA-4C26-A7D4-38E1C60B2F03",
         .title = "It does not work",
         .description = "",
         .outcome = ExpectedOutcome::asked},
    };
    return bugs;
}

std::string demoSeed() {
    json::array bugs;
    for (const DemoBug& bug : demoBugs()) {
        bugs.push_back(seedOf(bug));
    }
    const json::object app{{"bundle_id", demoBundleID}, {"name", demoAppName}};
    const json::object wish{{"bug_id", demoBugs()[1].id},
                            {"author_type", "user"},
                            {"body", "Good, but please cover upper-case letters as well."}};
    return json::serialize(
        json::object{{"apps", json::array{app}}, {"bugs", std::move(bugs)}, {"comments", json::array{wish}}});
}

}  // namespace quernlight::host
