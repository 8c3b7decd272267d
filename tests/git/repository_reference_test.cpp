#include "quernlight/git/repository_reference.hpp"

#include <cstdint>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight {
namespace {

using testing::ElementsAre;

const RepositoryReference shop{.host = "git.example", .owner = "acme", .repo = "shop"};

struct RequestCase {
    const char* url;
    std::int64_t number;  ///< 0: not supported
};

TEST(RepositoryReferenceTest, APullRequestsUrlNamesARepositoryAndANumberOrIsNotSupported) {
    const RequestCase rows[] = {
        {"https://git.example/acme/shop/pull/7", 7},
        {"https://git.example/acme/shop/pull/7/files", 7},
        {"https://git.example/acme/shop/pull/7#discussion", 7},
        {"https://git.example/acme/shop/pull/7?diff=split", 7},
        {"https://git.example//acme//shop/pull/7/", 7},
        {"https://www.Git.Example/Acme/SHOP.git/pull/7", 7},
        {"https://git.example/acme/shop/pull/+7", 7},
        {"https://git.example/acme/shop/pull/007", 7},
        {"http://git.example:8080/acme/shop/pull/7", 7},
        {"https://git.example/acme/shop/pull/9223372036854775807", 9223372036854775807},
        {"https://git.example/acme/shop/pull/9223372036854775808", 0},
        {"https://git.example/./acme/shop/pull/7", 0},
        {"https://git.example/acme/shop/pulls/7", 0},
        {"https://git.example/acme/shop/issues/7", 0},
        {"https://git.example/acme/shop/Pull/7", 0},
        {"https://git.example/acme/shop/pull", 0},
        {"https://git.example/acme/pull/7", 0},
        {"https://git.example/acme/shop/pull/seven", 0},
        {"https://git.example/acme/shop/pull/7a", 0},
        {"https://git.example/acme/shop/pull/+-7", 0},
        {"https://git.example/acme/shop/pull/0", 0},
        {"https://git.example/acme/shop/pull/-7", 0},
        {"https://git.example/acme/shop/pull/99999999999999999999", 0},
        {"mailto:acme@git.example", 0},
        {"file:///acme/shop/pull/7", 0},
    };
    for (const RequestCase& row : rows) {
        SCOPED_TRACE(row.url);
        const auto parsed = parsePullRequestURL(*Url::parse(row.url));
        if (row.number == 0) {
            EXPECT_FALSE(parsed);
        } else {
            EXPECT_EQ(parsed, (PullRequestReference{shop, row.number}));
        }
    }
}

TEST(PullRequestURLNamesTest, ADotIsAName) {
    EXPECT_EQ(parsePullRequestURL(*Url::parse("https://git.example/acme/./pull/7")),
              (PullRequestReference{{"git.example", "acme", "."}, 7}));
}

struct AddressCase {
    const char* address;
    bool namesShop;
};

TEST(RepositoryReferenceTest, ARemotesAddressNamesTheRepositoryInEveryStyleOrIsSkipped) {
    const AddressCase rows[] = {
        {"https://git.example/acme/shop.git", true},
        {"https://WWW.git.example/Acme/Shop", true},
        {"https://user:pw@git.example/acme/shop", true},
        {"ssh://git@git.example:2222/acme/shop.git", true},
        {"git@git.example:acme/shop.git", true},
        {"git@www.git.example:Acme/Shop", true},
        {"git@git.example:/acme/shop.git", true},
        {"git@git.example:acme/shop/sub.git", false},
        {"git.example:acme/shop.git", false},
        {"/srv/git@git.example:acme/shop.git", false},
        {"file:///srv/me@git.example:acme/shop.git", false},
        {"https://me@git.example:acme/shop.git", false},
        {"/srv/git/shop.git", false},
        {"file:///srv/git/shop.git", false},
        {"../shop.git", false},
        {"git.example:shop", false},
        {"git@git.example", false},
        {"git@git.example:shop.git", false},
        {"https://git.example/shop.git", false},
        {"", false},
    };
    for (const AddressCase& row : rows) {
        SCOPED_TRACE(row.address);
        const auto expected = row.namesShop ? std::optional(shop) : std::nullopt;
        EXPECT_EQ(parseRemoteAddress(row.address), expected);
    }
}

TEST(RepositoryReferenceTest, TheSpellingsOfARequestAndOfARemoteMeet) {
    const auto request = parsePullRequestURL(*Url::parse("https://www.Git.Example/Acme/SHOP.git/pull/7"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->repository, parseRemoteAddress("git@git.example:acme/shop"));
}

TEST(RepositoryReferenceTest, HostOwnerAndNameAllCount) {
    EXPECT_EQ(normalisedReference("WWW.Git.Example", "ACME", "Shop.GIT"), shop);
    EXPECT_NE(normalisedReference("www2.git.example", "acme", "shop"), shop);
    EXPECT_NE(normalisedReference("git.example", "acme2", "shop"), shop);
    EXPECT_NE(normalisedReference("git.example", "acme", "shop.github"), shop);
}

TEST(RemoteRefTest, TheOrderIsGitsAndANameMayBeAnything) {
    const auto remotes = parseRemotes(
        "a/b\thttps://git.example/acme/shop (fetch)\na/b\thttps://git.example/acme/shop (push)\n"
        "fork\tgit@git.example:me/shop.git (fetch)");
    EXPECT_THAT(remotes,
                ElementsAre(RemoteRef{"a/b", shop}, RemoteRef{"fork", {"git.example", "me", "shop"}}));
}

TEST(RemoteRefTest, ARemoteOfAPartialCloneIsARemote) {
    const auto remotes = parseRemotes(
        "origin\tgit@git.example:acme/shop.git (fetch) [blob:none]\n"
        "origin\tgit@git.example:other/shop.git (push) [blob:none]\n"
        "fork\tgit@git.example:me/shop.git [blob:none]");
    EXPECT_THAT(remotes, ElementsAre(RemoteRef{"origin", shop}));
}

TEST(RepositoryReferenceTest, AnyHostIsAcceptedEvenOneThatIsNothingButWww) {
    const RepositoryReference nameless{"", "acme", "shop"};
    EXPECT_EQ(parseRemoteAddress("ssh://www./acme/shop"), nameless);
    EXPECT_EQ(parseRemoteAddress("git@www.:acme/shop"), nameless);
    EXPECT_EQ(parsePullRequestURL(*Url::parse("https://www./acme/shop/pull/7")),
              (PullRequestReference{nameless, 7}));
}

TEST(RemoteRefTest, ALineWithoutANameIsNoRemote) {
    EXPECT_THAT(
        parseRemotes("\tgit@git.example:acme/shop.git (fetch)\n git@git.example:acme/shop.git (fetch)"),
        testing::IsEmpty());
}

TEST(RemoteRefTest, OnlyFetchAddressesOfHostedRepositoriesAreRemotes) {
    const auto remotes = parseRemotes(
        "local\t/srv/shop.git (fetch)\nlocal\t/srv/shop.git (push)\n"
        "origin\tgit@git.example:acme/shop.git (fetch)\n"
        "origin\tgit@git.example:other/shop.git (push)\nnonsense\n");
    EXPECT_THAT(remotes, ElementsAre(RemoteRef{"origin", shop}));
}

}  // namespace
}  // namespace quernlight
