#include "host/worktree/left_behind.hpp"

#include <gmock/gmock.h>

namespace quernlight::host {
namespace {

using testing::ElementsAre;

const std::string a(40, 'a');
const std::string b(40, 'b');
const std::string c(64, 'c');

std::set<std::string> namesIn(const std::string& text) {
    std::set<std::string> names;
    collectObjectNames(text, names);
    return names;
}

TEST(LeftBehindTest, ObjectsAreNamedInFull) {
    EXPECT_THAT(namesIn(a + " " + b + " A U Thor <a@b> 1 +0000\tcommit: " + c + "\n"), ElementsAre(a, b, c));
    EXPECT_THAT(namesIn("pick " + a + "\n# " + a), ElementsAre(a));
    EXPECT_TRUE(namesIn("").empty());
    EXPECT_TRUE(
        namesIn(a + "a " + a.substr(1) + " " + std::string(40, '0') + " " + std::string(40, 'A')).empty());
}

TEST(LeftBehindTest, ACommitWithAChildIsNoTip) {
    EXPECT_THAT(tipsOf(a + " " + b + "\n" + b + "\n\n" + c + "\n"), ElementsAre(a, c));
    EXPECT_THAT(tipsOf(b + " " + a), ElementsAre(b));
    EXPECT_TRUE(tipsOf("").empty());
}

}  // namespace
}  // namespace quernlight::host
