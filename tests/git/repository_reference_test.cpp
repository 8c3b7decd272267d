#include "quernlight/git/repository_reference.hpp"

#include <cstdint>
#include <ostream>

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

void PrintTo(const RequestCase& row, std::ostream* out) {
    *out << row.url;
}

class PullRequestURLTest : public testing::TestWithParam<RequestCase> {};

TEST_P(PullRequestURLTest, NamesARepositoryAndANumberOrIsNotSupported) {
    const auto parsed = parsePullRequestURL(*Url::parse(GetParam().url));
    if (GetParam().number == 0) {
        EXPECT_FALSE(parsed);
    } else {
        EXPECT_EQ(parsed, (PullRequestReference{shop, GetParam().number}));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, PullRequestURLTest,
    testing::Values(RequestCase{"https://git.example/acme/shop/pull/7", 7},
                    RequestCase{"https://git.example/acme/shop/pull/7/files", 7},
                    RequestCase{"https://git.example/acme/shop/pull/7#discussion", 7},
                    RequestCase{"https://git.example/acme/shop/pull/7?diff=split", 7},
                    RequestCase{"https://git.example//acme//shop/pull/7/", 7},
                    RequestCase{"https://www.Git.Example/Acme/SHOP.git/pull/7", 7},
                    RequestCase{"https://git.example/acme/shop/pull/+7", 7},
                    RequestCase{"https://git.example/acme/shop/pull/007", 7},
                    RequestCase{"http://git.example:8080/acme/shop/pull/7", 7},
                    RequestCase{"https://git.example/acme/shop/pull/9223372036854775807",
                                9223372036854775807},
                    RequestCase{"https://git.example/acme/shop/pull/9223372036854775808", 0},
                    RequestCase{"https://git.example/./acme/shop/pull/7", 0},
                    RequestCase{"https://git.example/acme/shop/pulls/7", 0},
                    RequestCase{"https://git.example/acme/shop/issues/7", 0},
                    RequestCase{"https://git.example/acme/shop/Pull/7", 0},
                    RequestCase{"https://git.example/acme/shop/pull", 0},
                    RequestCase{"https://git.example/acme/pull/7", 0},
                    RequestCase{"https://git.example/acme/shop/pull/seven", 0},
                    RequestCase{"https://git.example/acme/shop/pull/7a", 0},
                    RequestCase{"https://git.example/acme/shop/pull/+-7", 0},
                    RequestCase{"https://git.example/acme/shop/pull/0", 0},
                    RequestCase{"https://git.example/acme/shop/pull/-7", 0},
                    RequestCase{"https://git.example/acme/shop/pull/99999999999999999999", 0},
                    RequestCase{"mailto:acme@git.example", 0}, RequestCase{"file:///acme/shop/pull/7", 0}));

TEST(PullRequestURLNamesTest, ADotIsAName) {
    EXPECT_EQ(parsePullRequestURL(*Url::parse("https://git.example/acme/./pull/7")),
              (PullRequestReference{{"git.example", "acme", "."}, 7}));
}

struct AddressCase {
    const char* address;
    bool namesShop;
};

void PrintTo(const AddressCase& row, std::ostream* out) {
    *out << row.address;
}

class RemoteAddressTest : public testing::TestWithParam<AddressCase> {};

TEST_P(RemoteAddressTest, NamesTheRepositoryInEveryStyleOrIsSkipped) {
    const auto expected = GetParam().namesShop ? std::optional(shop) : std::nullopt;
    EXPECT_EQ(parseRemoteAddress(GetParam().address), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Table, RemoteAddressTest,
    testing::Values(AddressCase{"https://git.example/acme/shop.git", true},
                    AddressCase{"https://WWW.git.example/Acme/Shop", true},
                    AddressCase{"https://user:pw@git.example/acme/shop", true},
                    AddressCase{"ssh://git@git.example:2222/acme/shop.git", true},
                    AddressCase{"git@git.example:acme/shop.git", true},
                    AddressCase{"git@www.git.example:Acme/Shop", true},
                    AddressCase{"git@git.example:/acme/shop.git", true},
                    AddressCase{"git@git.example:acme/shop/sub.git", false},
                    AddressCase{"git.example:acme/shop.git", false},
                    AddressCase{"/srv/git@git.example:acme/shop.git", false},
                    AddressCase{"file:///srv/me@git.example:acme/shop.git", false},
                    AddressCase{"https://me@git.example:acme/shop.git", false},
                    AddressCase{"/srv/git/shop.git", false}, AddressCase{"file:///srv/git/shop.git", false},
                    AddressCase{"../shop.git", false}, AddressCase{"git.example:shop", false},
                    AddressCase{"git@git.example", false}, AddressCase{"git@git.example:shop.git", false},
                    AddressCase{"https://git.example/shop.git", false}, AddressCase{"", false}));

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
