#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::EndsWith;
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
                                  ", from branch main, with worktrees in " + checkout() +
                                  "-worktrees\nIts agents are told to trust both; to have them ask instead: "
                                  "quernlight-dispatch config set agent.trust false\n");
    EXPECT_THAT(listed(), EndsWith("\ncom.acme.shop  Shop  " + checkout() + "  main    " + checkout() +
                                   "-worktrees\n"));
}

TEST_F(MapCommandTest, WhoeverStartsItMayIgnoreTheEndOfItsChildren) {
    startedBy = {"/bin/bash", "-c", "trap '' CHLD; exec \"$@\"", "bash"};
    EXPECT_THAT(refusal({"--repo", repository.scratch("nothing")}), HasSubstr("cannot change to"));
    EXPECT_EQ(dispatch(mapWith({"--repo", checkout()})).exitCode, 0);
}

TEST_F(MapCommandTest, ABranchThatIsNotThereIsRefused) {
    const std::string error = refusal({"--repo", checkout(), "--base", "nope"});
    EXPECT_THAT(error,
                StartsWith("quernlight-dispatch: The repository " + checkout() + " has no branch \"nope\""));
    EXPECT_THAT(error, HasSubstr("; name one with --base.\n"));
}

TEST_F(MapCommandTest, ATildeThatTheShellHasLeftIsTheUsersHome) {
    const auto user = tokenFile().parent_path();
    const auto outcome = dispatch({"map", "set", "--bundle", "com.acme.shop", "--app", "Shop",
                                   "--repo=" + checkout(), "--worktrees=~/trees", "--home=~/bugs"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.output, HasSubstr("with worktrees in " + (user / "trees").string()));
    EXPECT_TRUE(std::filesystem::exists(user / "bugs/queue.sqlite"));
}

}  // namespace
}  // namespace quernlight
