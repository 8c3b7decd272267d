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
}

TEST(UrlTest, SegmentsAreAppendedWhetherOrNotTheBaseEndsInASlash) {
    EXPECT_EQ(url("http://h:8/base").appendingPath({"v1", "bugs"}).text(), "http://h:8/base/v1/bugs");
    EXPECT_EQ(url("http://h:8/base/").appendingPath({"v1", "bugs"}).text(), "http://h:8/base/v1/bugs");
    EXPECT_EQ(url("http://h:8").appendingPath({"v1"}).text(), "http://h:8/v1");
}

TEST(UrlTest, AnAppendedSegmentCannotBecomeTwo) {
    EXPECT_EQ(url("http://h").appendingPath({"a/b", "c d?#"}).text(), "http://h/a%2Fb/c%20d%3F%23");
}

TEST(UrlTest, QueryItemsKeepTheirOrderAndAreEncoded) {
    EXPECT_EQ(url("http://h/p").withQuery({{"status", "in review"}, {"limit", "50"}}).text(),
              "http://h/p?status=in%20review&limit=50");
    EXPECT_EQ(url("http://h/p").withQuery({{"a", "1&b=2"}}).text(), "http://h/p?a=1%26b=2");
}

TEST(UrlTest, ItsPiecesCanBeAskedFor) {
    const Url full = url("HTTPS://git.example:8443/Owner//repo/pull/7?x#y");
    EXPECT_EQ(full.scheme(), "https");
    EXPECT_EQ(full.host(), "git.example");
    EXPECT_EQ(full.port(), "8443");
    EXPECT_EQ(full.pathSegments(), (std::vector<std::string>{"Owner", "repo", "pull", "7"}));
}

}  // namespace
}  // namespace quernlight
