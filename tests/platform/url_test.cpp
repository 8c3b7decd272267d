#include "quernlight/platform/url.hpp"

#include <gtest/gtest.h>

namespace quernlight {
namespace {

Url url(const char* text) {
    return Url::parse(text).value();
}

TEST(UrlTest, KeepsItsTextAsReceived) {
    EXPECT_EQ(url("HTTPS://Example.COM:443/A%20b?x=Y#Z").text(), "HTTPS://Example.COM:443/A%20b?x=Y#Z");
}

TEST(UrlTest, OnlyAbsoluteUrlsAreRead) {
    EXPECT_FALSE(Url::parse(""));
    EXPECT_FALSE(Url::parse("/v1/bugs"));
    EXPECT_FALSE(Url::parse("example.com/x"));
    EXPECT_FALSE(Url::parse("http://a b/"));
    EXPECT_FALSE(Url::parse("//example.com/x"));
    EXPECT_FALSE(Url::parse(" https://example.com"));
    EXPECT_FALSE(Url::parse("https://example.com/%zz"));
    EXPECT_FALSE(Url::parse("https://example.com:owner/x"));
    EXPECT_FALSE(Url::parse("https://example.com:80x"));
    EXPECT_TRUE(Url::parse("https://example.com:/x"));
    EXPECT_TRUE(Url::parse("https://example.com"));
    EXPECT_TRUE(Url::parse("file:///tmp/a"));
}

TEST(UrlTest, SegmentsAreAppendedWhetherOrNotTheBaseEndsInASlash) {
    EXPECT_EQ(url("http://h:8/base").appendingPath({"v1", "bugs"}).text(), "http://h:8/base/v1/bugs");
    EXPECT_EQ(url("http://h:8/base/").appendingPath({"v1", "bugs"}).text(), "http://h:8/base/v1/bugs");
    EXPECT_EQ(url("http://h:8").appendingPath({"v1"}).text(), "http://h:8/v1");
    EXPECT_EQ(url("http://h:8/base//").appendingPath({"v1"}).text(), "http://h:8/base/v1");
    EXPECT_EQ(url("http://h:8//").appendingPath({"v1"}).text(), "http://h:8/v1");
}

TEST(UrlTest, AppendingToThePathLeavesQueryAndFragmentAsTheyAre) {
    EXPECT_EQ(url("http://h/base?x=1#y").appendingPath({"v1"}).text(), "http://h/base/v1?x=1#y");
    EXPECT_EQ(url("http://h?x=%2F").appendingPath({"v1"}).text(), "http://h/v1?x=%2F");
}

TEST(UrlTest, QueryAndFragmentCanBeLeftOut) {
    EXPECT_EQ(url("HTTP://h/A%2fB?x=1#y").withoutQueryAndFragment().text(), "HTTP://h/A%2fB");
    EXPECT_EQ(url("http://h").withoutQueryAndFragment().text(), "http://h");
}

TEST(UrlTest, WhatStandsBeforeTheAppendedSegmentsKeepsItsSpelling) {
    EXPECT_EQ(url("HTTP://Me:pw@H:8/A%2fB").appendingPath({"v1"}).text(), "HTTP://Me:pw@H:8/A%2fB/v1");
    EXPECT_EQ(url("http://[::1]:8").appendingPath({"v1"}).text(), "http://[::1]:8/v1");
}

TEST(UrlTest, AnAppendedSegmentCannotBecomeTwo) {
    EXPECT_EQ(url("http://h").appendingPath({"a/b", "c d?#"}).text(), "http://h/a%2Fb/c%20d%3F%23");
    EXPECT_EQ(url("http://h").appendingPath({"a:b@c+d", "%2F"}).text(), "http://h/a:b@c+d/%252F");
}

TEST(UrlTest, QueryItemsKeepTheirOrderAndAreEncoded) {
    EXPECT_EQ(url("http://h/p").withQuery({{"status", "in review"}, {"limit", "50"}}).text(),
              "http://h/p?status=in%20review&limit=50");
    EXPECT_EQ(url("http://h/p").withQuery({{"a", "1&b=2"}}).text(), "http://h/p?a=1%26b%3D2");
}

// Many servers read a bare "+" as a blank.
TEST(UrlTest, APlusInAQueryItemIsEncoded) {
    EXPECT_EQ(url("http://h/p").withQuery({{"a+b", "1+1 2"}}).text(), "http://h/p?a%2Bb=1%2B1%202");
}

TEST(UrlTest, SignsThatWouldEndOrSplitAQueryItemAreEncoded) {
    EXPECT_EQ(url("http://h/p").withQuery({{"a", "#?;/%é\n"}}).text(),
              "http://h/p?a=%23%3F%3B%2F%25%C3%A9%0A");
    EXPECT_EQ(url("http://h/p").withQuery({{"a", "Az09-._~"}}).text(), "http://h/p?a=Az09-._~");
}

TEST(UrlTest, AQueryReplacesTheOneBefore) {
    EXPECT_EQ(url("http://h/p?old=1&a=2").withQuery({{"a", "3"}, {"a", "4"}, {"b", ""}}).text(),
              "http://h/p?a=3&a=4&b=");
    EXPECT_EQ(url("http://h/p?old=1").withQuery({}).text(), "http://h/p");
}

TEST(UrlTest, ItsPiecesCanBeAskedFor) {
    const Url full = url("HTTPS://git.example:8443/Owner//repo/pull/7?x#y");
    EXPECT_EQ(full.scheme(), "https");
    EXPECT_EQ(full.host(), "git.example");
    EXPECT_EQ(full.port(), "8443");
    EXPECT_EQ(full.pathSegments(), (std::vector<std::string>{"Owner", "repo", "pull", "7"}));
}

TEST(UrlTest, ADotIsAPieceOfAPathLikeAnyOther) {
    EXPECT_EQ(url("http://h/./a/./b/..").pathSegments(),
              (std::vector<std::string>{".", "a", ".", "b", ".."}));
    EXPECT_EQ(url("http://h/.//a").pathSegments(), (std::vector<std::string>{".", "a"}));
    EXPECT_EQ(url("http://h/./a").appendingPath({"b"}).text(), "http://h/./a/b");
    EXPECT_EQ(url("http://h/.").appendingPath({"b"}).text(), "http://h/./b");
    EXPECT_EQ(url("http://h/./").appendingPath({"b"}).text(), "http://h/./b");
}

TEST(UrlTest, APieceIsDecodedAfterThePathIsSplit) {
    EXPECT_EQ(url("http://h/a%2Fb/c%20d").pathSegments(), (std::vector<std::string>{"a/b", "c d"}));
}

}  // namespace
}  // namespace quernlight
