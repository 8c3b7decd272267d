#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/process/home_lock.hpp"
#include "tests/host/service/service_fixture.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;
using enum ServiceErrorCode;

class DirectServiceMappingsTest : public test::ServiceFixture {
  protected:
    std::string checkout() const { return repository.directory(); }
    MappingRequest request() const {
        return {.bundleID = "com.acme.shop", .appName = "Shop", .repository = checkout()};
    }

    standin::test::HostedRepository repository;
};

TEST_F(DirectServiceMappingsTest, AMappingThatIsSetIsListedWithWorktreesBesideTheRepository) {
    const AppMapping mapping = run(service->setMapping(request())).mapping;
    EXPECT_EQ(mapping.repoPath, checkout());
    EXPECT_EQ(mapping.worktreeRootPath, checkout() + "-worktrees");
    EXPECT_EQ(mapping.baseBranch, "main");
    EXPECT_THAT(run(service->mappings()), ElementsAre(mapping));
}

TEST_F(DirectServiceMappingsTest, AMappingThatIsSetAgainReplacesTheFirst) {
    run(service->setMapping(request()));
    MappingRequest elsewhere = request();
    elsewhere.worktrees = directory / "elsewhere";
    const AppMapping second = run(service->setMapping(elsewhere)).mapping;
    EXPECT_EQ(second.worktreeRootPath, (directory / "elsewhere").string());
    EXPECT_THAT(run(service->mappings()), ElementsAre(second));
}

TEST_F(DirectServiceMappingsTest, TheBugsThatWaitedForTheMappingAreReleased) {
    const BugQueueItem item = enqueue("11111111");
    ASSERT_EQ(item.status, QueueItemStatus::waitingForMapping);
    run(service->setMapping(request()));
    EXPECT_EQ(stored(item).status, QueueItemStatus::queued);
}

TEST_F(DirectServiceMappingsTest, APathInsideTheCheckoutMapsTheWholeRepository) {
    std::filesystem::create_directories(repository.directory() / "src");
    MappingRequest inside = request();
    inside.repository += "/src/";
    EXPECT_EQ(run(service->setMapping(inside)).mapping.repoPath, checkout());
}

TEST_F(DirectServiceMappingsTest, AWarningOfGitIsNoPartOfWhatIsStored) {
    repository.git({"config", "core.fsyncMethod", "unheard of"});
    EXPECT_EQ(run(service->setMapping(request())).mapping.repoPath, checkout());
}

/// As git prints them, so that what it says of them is recognised.
TEST_F(DirectServiceMappingsTest, PathsThroughSymbolicLinksAreStoredResolved) {
    const auto link = directory / "link";
    std::filesystem::create_directory_symlink(repository.scratch("."), link);
    MappingRequest linked = request();
    linked.repository = link / "shop";
    linked.worktrees = link / "new/worktrees";
    const AppMapping mapping = run(service->setMapping(linked)).mapping;
    EXPECT_EQ(mapping.repoPath, checkout());
    EXPECT_EQ(mapping.worktreeRootPath, repository.scratch("new/worktrees").string());
}

TEST_F(DirectServiceMappingsTest, BesideAnOwnerNoMappingIsStored) {
    store();
    const HomeLock owner(home);
    EXPECT_EQ(codeOf(service->setMapping(request())), busy);
    EXPECT_THAT(run(service->mappings()), testing::IsEmpty());
}

TEST_F(DirectServiceMappingsTest, ARepositoryThatCannotBeUsedMakesNoHome) {
    MappingRequest nowhere = request();
    nowhere.repository += "-away";
    EXPECT_EQ(codeOf(service->setMapping(nowhere)), invalid);
    EXPECT_FALSE(std::filesystem::exists(home));
}

struct RemoteState {
    const char* name;
    std::vector<std::string> git;  ///< what makes it so
    const char* base;
    const char* warning;  ///< empty: none
};

/// Git as it is found here, without the transport to the fixture's host.
TEST_F(DirectServiceMappingsTest, WhatKeepsWorkFromBeingPushedIsAWarningAndTheMappingIsStored) {
    const std::string bare = repository.bare();
    const std::vector<RemoteState> rows{
        {"all is well", {"remote", "set-url", "origin", bare}, "main", ""},
        {"no base there", {"branch", "release"}, "release", "has no branch \"release\", into which work"},
        {"away", {"remote", "set-url", "origin", bare + "-away"}, "main", "cannot be reached now ("},
        {"no remote", {"remote", "remove", "origin"}, "main", "has no remote, so that no agent can push"},
    };
    for (const RemoteState& row : rows) {
        repository.git(row.git);
        MappingRequest wanted = request();
        wanted.baseBranch = row.base;
        const StoredMapping stored = run(service->setMapping(wanted));
        EXPECT_EQ(run(service->mappings()).at(0).baseBranch, row.base) << row.name;
        EXPECT_EQ(stored.warnings.empty(), std::string(row.warning).empty()) << row.name;
        EXPECT_THAT(stored.warnings.empty() ? "" : stored.warnings.front(), testing::HasSubstr(row.warning));
    }
}

struct Refusal {
    const char* name;
    void (*spoil)(MappingRequest& request);
    const char* begin;  ///< of the sentence, with "CHECKOUT" for the path of the repository
    const char* end;
};

void PrintTo(const Refusal& row, std::ostream* out) {
    *out << row.name;
}

class MappingRefusalTest : public DirectServiceMappingsTest, public testing::WithParamInterface<Refusal> {
  protected:
    std::string withCheckout(std::string text) const {
        const std::size_t place = text.find("CHECKOUT");
        return place == std::string::npos ? text : text.replace(place, 8, checkout());
    }
};

TEST_P(MappingRefusalTest, IsInvalidWithWhatToDoAndStoresNothing) {
    store();
    MappingRequest spoilt = request();
    GetParam().spoil(spoilt);
    const auto error = errorOf(service->setMapping(spoilt));
    EXPECT_EQ(error.code(), invalid);
    EXPECT_THAT(error.what(), StartsWith(withCheckout(GetParam().begin)));
    EXPECT_THAT(error.what(), EndsWith(GetParam().end));
    EXPECT_THAT(run(service->mappings()), testing::IsEmpty());
}

constexpr const char* isInside = "The worktrees cannot lie inside the checkout CHECKOUT";
constexpr const char* chooseBeside = "; choose a directory beside it with --worktrees.";

INSTANTIATE_TEST_SUITE_P(
    Table, MappingRefusalTest,
    testing::Values(
        Refusal{"no repository", [](MappingRequest& request) { request.repository += "-away"; },
                "There is no git repository at CHECKOUT-away (",
                "); give the path of a checkout with --repo."},
        Refusal{"no branch", [](MappingRequest& request) { request.baseBranch = "nope"; },
                "The repository CHECKOUT has no branch \"nope\" (", "); name one with --base."},
        Refusal{"in place of the checkout",
                [](MappingRequest& request) { request.worktrees = request.repository; }, isInside,
                chooseBeside},
        Refusal{"in place of the checkout, as a directory",
                [](MappingRequest& request) { request.worktrees = request.repository + "/"; }, isInside,
                chooseBeside},
        Refusal{"inside the checkout",
                [](MappingRequest& request) { request.worktrees = request.repository + "/worktrees"; },
                isInside, chooseBeside},
        Refusal{
            "inside the checkout, the long way round",
            [](MappingRequest& request) { request.worktrees = request.repository + "/../shop/worktrees"; },
            isInside, chooseBeside},
        Refusal{"in place of a file",
                [](MappingRequest& request) {
                    request.worktrees = request.repository + "-file";
                    quernlight::test::writeFile(*request.worktrees, "");
                },
                "The directory for worktrees CHECKOUT-file cannot be made (Not a directory); ",
                "quernlight-dispatch map set --worktrees DIR"},
        Refusal{"a name that is no text", [](MappingRequest& request) { request.appName = "\xff"; },
                "The option --app is not valid UTF-8; ", " Nothing was changed."}));

constexpr const char* invisible = " \x01\u200b";

struct InvisibleName {
    const char* option;
    void (*spoil)(MappingRequest& request);
};

void PrintTo(const InvisibleName& row, std::ostream* out) {
    *out << row.option;
}

class InvisibleNameTest : public DirectServiceMappingsTest,
                          public testing::WithParamInterface<InvisibleName> {};

TEST_P(InvisibleNameTest, IsInvalidBeforeAHomeIsMade) {
    MappingRequest spoilt = request();
    GetParam().spoil(spoilt);
    const auto error = errorOf(service->setMapping(spoilt));
    EXPECT_EQ(error.code(), invalid);
    EXPECT_EQ(error.what(), "The option " + std::string(GetParam().option) +
                                " is empty; give it a value. Nothing was changed.");
    EXPECT_FALSE(std::filesystem::exists(home));
}

INSTANTIATE_TEST_SUITE_P(
    Table, InvisibleNameTest,
    testing::Values(InvisibleName{"--bundle", [](MappingRequest& request) { request.bundleID = invisible; }},
                    InvisibleName{"--app", [](MappingRequest& request) { request.appName = invisible; }},
                    InvisibleName{"--base", [](MappingRequest& request) { request.baseBranch = invisible; }},
                    InvisibleName{"--repo", [](MappingRequest& request) { request.repository = invisible; }},
                    InvisibleName{"--worktrees",
                                  [](MappingRequest& request) { request.worktrees = invisible; }}));

}  // namespace
}  // namespace quernlight::host
