#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class MapCommandTest : public test::DispatchFixture {
  protected:
    std::string checkout() const { return repository.directory(); }
    /// What is printed when the mapping is refused, and then no mapping is stored.
    std::string refusal(const std::vector<std::string>& arguments) {
        const auto outcome = dispatch(mapWith(arguments));
        EXPECT_EQ(outcome.exitCode, 1) << outcome.output;
        EXPECT_THAT(listed(), StartsWith("No mappings yet;"));
        return outcome.error;
    }
    std::string listed() { return dispatch({"map", "list", "--home", home()}).output; }
};

TEST_F(MapCommandTest, WorktreesGoBesideTheRepositoryUnlessToldOtherwise) {
    const auto outcome = dispatch(mapWith({"--repo", checkout()}));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.output, "com.acme.shop (Shop) is worked on in " + checkout() +
                                  ", from branch main, with worktrees in " + checkout() + "-worktrees\n");
    EXPECT_EQ(listed(), "com.acme.shop  Shop  " + checkout() + "  main  " + checkout() + "-worktrees\n");
}

TEST_F(MapCommandTest, AMappingThatIsSetAgainReplacesTheFirst) {
    dispatch(mapWith({"--repo", checkout()}));
    const std::string worktrees = repository.scratch("elsewhere");
    dispatch(mapWith({"--repo", checkout(), "--worktrees", worktrees}));
    EXPECT_EQ(listed(), "com.acme.shop  Shop  " + checkout() + "  main  " + worktrees + "\n");
}

TEST_F(MapCommandTest, APathInsideTheCheckoutMapsTheWholeRepository) {
    std::filesystem::create_directories(repository.directory() / "src");
    dispatch(mapWith({"--repo", checkout() + "/src/"}));
    EXPECT_THAT(listed(), HasSubstr("  " + checkout() + "  main  " + checkout() + "-worktrees\n"));
}

TEST_F(MapCommandTest, AWarningIsNoPartOfWhatIsStored) {
    repository.git({"config", "core.fsyncMethod", "unheard of"});
    dispatch(mapWith({"--repo", checkout()}));
    EXPECT_EQ(listed(), "com.acme.shop  Shop  " + checkout() + "  main  " + checkout() + "-worktrees\n");
}

TEST_F(MapCommandTest, WhoeverStartsItMayIgnoreTheEndOfItsChildren) {
    startedBy = {"/bin/bash", "-c", "trap '' CHLD; exec \"$@\"", "bash"};
    EXPECT_THAT(refusal({"--repo", repository.scratch("nothing")}), HasSubstr("cannot change to"));
    EXPECT_EQ(dispatch(mapWith({"--repo", checkout()})).exitCode, 0);
}

/// As git prints them, so that what it says of them is recognised.
TEST_F(MapCommandTest, PathsThroughSymbolicLinksAreStoredResolved) {
    const auto link = repository.scratch("link");
    std::filesystem::create_directory_symlink(repository.scratch("."), link);
    dispatch(mapWith({"--repo", (link / "shop").string(), "--worktrees", (link / "new/worktrees").string()}));
    EXPECT_THAT(listed(), HasSubstr("  " + checkout() + "  main  " +
                                    repository.scratch("new/worktrees").string() + "\n"));
}

TEST_F(MapCommandTest, APathWithoutARepositoryIsRefused) {
    const std::string error = refusal({"--repo", repository.scratch("nothing")});
    EXPECT_THAT(error, StartsWith("quernlight-dispatch: There is no git repository at " +
                                  repository.scratch("nothing").string()));
    EXPECT_THAT(error, HasSubstr("; give the path of a checkout with --repo.\n"));
}

TEST_F(MapCommandTest, ABranchThatIsNotThereIsRefused) {
    const std::string error = refusal({"--repo", checkout(), "--base", "nope"});
    EXPECT_THAT(error,
                StartsWith("quernlight-dispatch: The repository " + checkout() + " has no branch \"nope\""));
    EXPECT_THAT(error, HasSubstr("; name one with --base.\n"));
}

TEST_F(MapCommandTest, EmptyNamesAreRefusedBeforeAHomeIsMade) {
    for (const char* option : {"--bundle", "--app", "--base", "--repo", "--worktrees"}) {
        std::map<std::string, std::string> given{
            {"--bundle", "com.acme.shop"}, {"--app", "Shop"}, {"--base", "main"}, {"--repo", checkout()}};
        given[option] = " \x01\u200b";
        std::vector<std::string> words{"map", "set", "--home", home()};
        for (const auto& [name, value] : given) {
            words.insert(words.end(), {name, value});
        }
        const auto outcome = dispatch(words);
        EXPECT_EQ(outcome.exitCode, 1) << outcome.output;
        EXPECT_THAT(outcome.error, HasSubstr("The option " + std::string(option) + " is empty"));
    }
    EXPECT_FALSE(std::filesystem::exists(home()));
}

TEST_F(MapCommandTest, ATildeThatTheShellHasLeftIsTheUsersHome) {
    const auto user = tokenFile().parent_path();
    const auto outcome = dispatch({"map", "set", "--bundle", "com.acme.shop", "--app", "Shop",
                                   "--repo=" + checkout(), "--worktrees=~/trees", "--home=~/bugs"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.output, HasSubstr("with worktrees in " + (user / "trees").string()));
    EXPECT_TRUE(std::filesystem::exists(user / "bugs/queue.sqlite"));
}

TEST_F(MapCommandTest, WorktreesInsideTheCheckoutAreRefused) {
    for (const char* place : {"", "/", "/worktrees", "/../shop/worktrees"}) {
        EXPECT_EQ(refusal({"--repo", checkout(), "--worktrees", checkout() + place}),
                  "quernlight-dispatch: The worktrees cannot lie inside the checkout " + checkout() +
                      "; choose a directory beside it with --worktrees.\n");
    }
}

}  // namespace
}  // namespace quernlight
