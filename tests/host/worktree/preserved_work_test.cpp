#include "host/worktree/preserved_work.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

struct NameRow {
    const char* name;
    const char* bug;
};

TEST(PreservedWorkTest, TheBugIsToldByTheName) {
    const std::vector<NameRow> rows{
        {"Notes-7c41e0ab", "7c41e0ab"},     {"Notes-7c41e0ab-2", "7c41e0ab"},
        {"My-App-7c41e0ab-17", "7c41e0ab"}, {"Notes-12345678", "12345678"},
        {"Notes-12345678-3", "12345678"},   {"7c41e0ab", "7c41e0ab"},
        {"7c41e0ab-2", "7c41e0ab"},         {"", ""},
    };
    for (const NameRow& row : rows) {
        EXPECT_EQ(bugOfPreserved(row.name), row.bug) << row.name;
    }
}

TEST(PreservedWorkTest, WhatGitCountsIsRead) {
    const auto files = readNumstat("3\t1\tsrc/main.cpp\n-\t-\tlogo.png\n0\t2\t\"a\\tb\"\nwarning: what\n");
    ASSERT_EQ(files.size(), 3U);
    EXPECT_EQ(files[0].path, "src/main.cpp");
    EXPECT_EQ(files[0].added, 3);
    EXPECT_EQ(files[0].deleted, 1);
    EXPECT_EQ(files[1].added, std::nullopt);
    EXPECT_EQ(files[1].deleted, std::nullopt);
    EXPECT_EQ(files[2].path, "\"a\\tb\"");
    EXPECT_TRUE(readNumstat("").empty());
}

}  // namespace
}  // namespace quernlight::host
