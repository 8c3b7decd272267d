#include "host/text/markdown.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

struct Row {
    const char* name;
    std::string text;
    std::string shown;
};

TEST(MarkdownTest, TextFromOutsideIsNoMarkup) {
    const std::vector<Row> rows{
        {"plain words", "Crash on paste, in 3.2 (again)", "Crash on paste, in 3.2 (again)"},
        {"emphasis", "*now* and __then__", "\\*now\\* and \\_\\_then\\_\\_"},
        {"a link", "[here](x)", "\\[here\\](x)"},
        {"an image", "![x](y)", "\\!\\[x\\](y)"},
        {"HTML", "<script>&amp;", "\\<script\\>\\&amp;"},
        {"code", "a `b` c", "a \\`b\\` c"},
        {"a table", "a | b", "a \\| b"},
        {"a mention and a number", "@team #12", "\\@team \\#12"},
        {"a bare address", "http://x.example and www.x.example", "http\\://x.example and www\\.x.example"},
        {"a backslash", "\\*", "\\\\\\*"},
        {"line ends and escapes", "a\n# b\x1b[31mc", "a \\# b \\[31mc"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(markdownText(row.text), row.shown) << row.name;
    }
}

TEST(MarkdownTest, CodeIsClosedByNothingInIt) {
    const std::vector<Row> rows{
        {"a branch", "Notes-7c41e0ab", "`Notes-7c41e0ab`"},
        {"a backtick", "a`b", "``a`b``"},
        {"several", "`a``b", "``` `a``b ```"},
        {"a line end", "a\nb", "`a b`"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(markdownCode(row.text), row.shown) << row.name;
    }
}

}  // namespace
}  // namespace quernlight::host
