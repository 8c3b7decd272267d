#include "host/text/counted.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

TEST(CountedTest, OneIsNotSeveral) {
    EXPECT_EQ(counted(1, "bug"), "1 bug");
    EXPECT_EQ(counted(0, "bug"), "0 bugs");
    EXPECT_EQ(counted(2, "repository", "repositories"), "2 repositories");
    EXPECT_EQ(byCount(1, " was", " were"), " was");
    EXPECT_EQ(byCount(3, " was", " were"), " were");
}

struct SizeRow {
    std::uint64_t bytes;
    const char* text;
};

TEST(CountedTest, ASizeIsToldInTheUnitThatFits) {
    const SizeRow rows[] = {{0, "0 bytes"},
                            {1, "1 byte"},
                            {1023, "1023 bytes"},
                            {1024, "1 KiB"},
                            {3277, "3.2 KiB"},
                            {std::uint64_t{5} << 20U, "5 MiB"},
                            {1048575, "1023 KiB"},
                            {std::uint64_t{3} << 40U, "3 TiB"},
                            {std::uint64_t{9} << 51U, "18432 TiB"}};
    for (const SizeRow& row : rows) {
        EXPECT_EQ(sizeText(row.bytes), row.text);
    }
}

}  // namespace
}  // namespace quernlight::host
