#include <gtest/gtest.h>

#include "standin/git_transport/remote_command.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight::standin {
namespace {

using test::HostedRepository;

TEST(GitTransportTest, TheRemoteCommandFollowsOptionsAndHost) {
    EXPECT_EQ(remoteCommandArgument({"git@git.example", "run"}), "run");
    EXPECT_EQ(remoteCommandArgument({"-o", "SendEnv=X", "-p", "22", "-4", "git@git.example", "run"}), "run");
    EXPECT_EQ(remoteCommandArgument({"-G", "git@git.example"}), std::nullopt);
    EXPECT_EQ(remoteCommandArgument({"git@git.example"}), std::nullopt);
    EXPECT_EQ(remoteCommandArgument({"-p"}), std::nullopt);
}

TEST(GitTransportTest, OnlyGitsTwoServicesAreUnderstood) {
    EXPECT_EQ(parseRemoteCommand("git-upload-pack 'acme/shop.git'"),
              (RemoteCommand{.service = "upload-pack", .repository = "acme/shop.git"}));
    EXPECT_EQ(parseRemoteCommand("git-receive-pack 'it'\\''s.git'"),
              (RemoteCommand{.service = "receive-pack", .repository = "it's.git"}));
    EXPECT_EQ(parseRemoteCommand("git-upload-pack 'a'; rm 'b'"), std::nullopt);
    EXPECT_EQ(parseRemoteCommand("git-upload-pack 'a"), std::nullopt);
    EXPECT_EQ(parseRemoteCommand("git-upload-pack $HOME"), std::nullopt);
    EXPECT_EQ(parseRemoteCommand("git-upload-archive 'a'"), std::nullopt);
    EXPECT_EQ(parseRemoteCommand("ls"), std::nullopt);
}

TEST(GitTransportTest, APathThatLeavesTheRootIsRefused) {
    const quernlight::test::TemporaryDirectory temporary;
    const auto root = std::filesystem::canonical(temporary.path()) / "root";
    std::filesystem::create_directories(root);
    std::filesystem::create_symlink("/", root / "away");
    EXPECT_EQ(repositoryBelow(root, "acme/shop.git"), root / "acme/shop.git");
    EXPECT_EQ(repositoryBelow(root, "/acme/shop.git"), root / "acme/shop.git");
    for (const std::string path : {"..", "../rooted", "a/../../b", "away/tmp", "//etc", "", ".", "/"}) {
        EXPECT_EQ(repositoryBelow(root, path), std::nullopt) << path;
    }
}

TEST(GitTransportTest, ARepositoryIsClonedThroughItsHost) {
    const HostedRepository hosted;
    hosted.git({"clone", "--quiet", "git@git.example:acme/shop.git", hosted.scratch("clone").string()});
    EXPECT_EQ(hosted.git(hosted.scratch("clone"), {"rev-parse", "HEAD"}), hosted.git({"rev-parse", "main"}));
    EXPECT_EQ(quernlight::test::readFile(hosted.scratch("clone/README")), "A shop.\n");
}

TEST(GitTransportTest, ItIsFoundOutToBeASimpleSshWhenGitProbesIt) {
    const HostedRepository hosted;
    hosted.git({"config", "ssh.variant", "auto"});
    EXPECT_THAT(hosted.git({"ls-remote", "origin"}), testing::HasSubstr("refs/heads/main"));
}

TEST(GitTransportTest, BranchesAndPullRequestHeadsArePushedAndListed) {
    const HostedRepository hosted;
    hosted.git({"push", "--quiet", "origin", "HEAD:refs/heads/topic", "HEAD:refs/pull/3/head"});
    const std::string head = hosted.git({"rev-parse", "HEAD"});
    EXPECT_EQ(hosted.git({"ls-remote", "origin", "refs/pull/*/head"}), head + "\trefs/pull/3/head");
    EXPECT_EQ(hosted.git(hosted.bare(), {"rev-parse", "refs/heads/topic"}), head);
}

TEST(GitTransportTest, ARepositoryThatIsNotThereFailsWithASentence) {
    const HostedRepository hosted;
    try {
        hosted.git({"ls-remote", "git@git.example:acme/../../shop"});
        FAIL() << "the transport left its root";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("there is no repository 'acme/../../shop'."));
    }
}

}  // namespace
}  // namespace quernlight::standin
