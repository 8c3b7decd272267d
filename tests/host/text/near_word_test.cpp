#include "host/text/near_word.hpp"

#include <ostream>

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

struct NearWordRow {
    const char* typed;
    const char* meant;  ///< null: none comes near
};

void PrintTo(const NearWordRow& row, std::ostream* out) {
    *out << row.typed;
}

class NearWordTest : public testing::TestWithParam<NearWordRow> {};

TEST_P(NearWordTest, IsTheNearestOneIfFewLettersDiffer) {
    const auto [typed, meant] = GetParam();
    const auto found = nearWord(typed, {"run", "map", "queue", "config", "--dry-run", "--once", "--home"});
    EXPECT_EQ(found.value_or("none"), meant ? meant : "none");
}

INSTANTIATE_TEST_SUITE_P(Table, NearWordTest,
                         testing::Values(NearWordRow{"rnu", "run"}, NearWordRow{"RUN", "run"},
                                         NearWordRow{"rum", "run"}, NearWordRow{"mapp", "map"},
                                         NearWordRow{"qeuue", "queue"}, NearWordRow{"conifg", "config"},
                                         NearWordRow{"--dryrun", "--dry-run"},
                                         NearWordRow{"--onse", "--once"}, NearWordRow{"--houme", "--home"},
                                         NearWordRow{"", nullptr}, NearWordRow{"nur", nullptr},
                                         NearWordRow{"start", nullptr}, NearWordRow{"--verbose", nullptr},
                                         NearWordRow{"\xff\xff\xff\xff", nullptr}));

}  // namespace
}  // namespace quernlight::host
