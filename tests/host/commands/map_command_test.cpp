#include <boost/asio.hpp>
#include <boost/json.hpp>
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
    /// What is printed when the mapping is refused, and then nothing is stored.
    std::string refusal(const std::vector<std::string>& arguments) {
        const auto outcome = dispatch(mapWith(arguments));
        EXPECT_EQ(outcome.exitCode, 1) << outcome.output;
        EXPECT_FALSE(std::filesystem::exists(home()));
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

/// The remote, as a dispatcher that runs sees it, or the command itself.
class MappedRemoteTest : public MapCommandTest, public testing::WithParamInterface<bool> {
  protected:
    void SetUp() override {
        if (GetParam()) {
            startBackend();
            owner = start(runWith());
            const auto socket = home() / "control.sock";
            ASSERT_TRUE(test::eventually([&] { return std::filesystem::exists(socket); })) << owner->output();
        }
    }
    /// The warning with which the mapping is stored; empty where there is none.
    std::string warning(const std::vector<std::string>& more = {}) {
        std::vector<std::string> words{"--repo", checkout(), "--json"};
        words.insert(words.end(), more.begin(), more.end());
        const auto outcome = dispatch(mapWith(words));
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        const auto stored = boost::json::parse(outcome.output).as_object();
        EXPECT_THAT(listed(),
                    HasSubstr(checkout() + "  " + std::string(stored.at("base_branch").as_string())));
        const auto warnings = boost::json::value_to<std::vector<std::string>>(stored.at("warnings"));
        EXPECT_THAT(outcome.error, StartsWith(warnings.empty() ? "" : "Warning: The remote "));
        EXPECT_EQ(outcome.error.empty(), warnings.empty());
        return warnings.empty() ? "" : warnings.front();
    }

    std::unique_ptr<test::DispatchProcess> owner;
};

TEST_P(MappedRemoteTest, OneThatCanBeReachedAndHasTheBaseIsNoMatter) {
    EXPECT_EQ(warning(), "");
}

TEST_P(MappedRemoteTest, OneThatLacksTheBaseIsAWarning) {
    repository.git({"branch", "release"});
    EXPECT_THAT(warning({"--base", "release"}), HasSubstr("has no branch \"release\", into which work"));
}

TEST_P(MappedRemoteTest, OneThatCannotBeReachedIsAWarning) {
    repository.git({"remote", "set-url", "origin", "/no/such/repository"});
    EXPECT_THAT(warning(), HasSubstr("The remote origin of " + checkout() + " cannot be reached now ("));
}

TEST_P(MappedRemoteTest, OneThatDoesNotAnswerIsAWarning) {
    boost::asio::io_context io;
    const boost::asio::ip::tcp::acceptor silent(io, {boost::asio::ip::address_v4::loopback(), 0});
    const std::string port = std::to_string(silent.local_endpoint().port());
    repository.git({"remote", "set-url", "origin", "git://127.0.0.1:" + port + "/shop.git"});
    EXPECT_THAT(warning(), HasSubstr("does not answer within ten seconds"));
}

INSTANTIATE_TEST_SUITE_P(All, MappedRemoteTest, testing::Bool(),
                         [](const auto& runs) { return runs.param ? "SeenByTheOwner" : "WithoutAnOwner"; });

}  // namespace
}  // namespace quernlight
