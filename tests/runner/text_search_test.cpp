#include "quernlight/runner/text_search.hpp"

#include <gtest/gtest.h>

namespace quernlight {
namespace {

class TextSearchTest : public testing::Test {
  protected:
    /// Finds the text wherever it stands among bytes that nearly are it.
    static void expectFoundEverywhere(const std::string& text) {
        const TextSearch search(text);
        const std::string other = std::string(1, text.front()) + "-" + std::string(1, text.back());
        for (std::size_t before = 0; before < 40; ++before) {
            std::string bytes;
            for (std::size_t count = 0; count < before; ++count) {
                bytes += other;
            }
            const std::string whole = bytes + text + other;
            ASSERT_EQ(search.find(whole, 0), whole.find(text)) << before;
            ASSERT_EQ(search.find(whole, whole.find(text) + 1), whole.find(text, whole.find(text) + 1))
                << before;
            ASSERT_EQ(search.isIn(bytes), bytes.find(text) != std::string::npos) << before;
        }
    }
};

TEST_F(TextSearchTest, ATextIsFoundWhereverItStands) {
    expectFoundEverywhere("\u203A");
    expectFoundEverywhere("model:");
    expectFoundEverywhere("MCP s");
    expectFoundEverywhere("a text that is longer than any block of bytes that is looked at");
}

TEST_F(TextSearchTest, OneByteIsFoundAmongOthers) {
    EXPECT_EQ(TextSearch("x").find("---------------------------------x--", 0), 33U);
    EXPECT_FALSE(TextSearch("x").isIn("------------------------------------"));
}

TEST_F(TextSearchTest, AnEmptyTextIsInEveryOther) {
    EXPECT_TRUE(TextSearch("").isIn(""));
    EXPECT_EQ(TextSearch("").find("abc", 2), 2U);
}

}  // namespace
}  // namespace quernlight
