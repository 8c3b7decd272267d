#include "host/manual/manual_page.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::StartsWith;

struct RoffRow {
    const char* text;
    const char* escaped;
};

class RoffTextTest : public testing::TestWithParam<RoffRow> {};

TEST_P(RoffTextTest, IsPrintedAsItStands) {
    EXPECT_EQ(roffText(GetParam().text), GetParam().escaped);
}

INSTANTIATE_TEST_SUITE_P(Table, RoffTextTest,
                         testing::Values(RoffRow{"plain words", "plain words"},
                                         RoffRow{".TH is no request", "\\&.TH is no request"},
                                         RoffRow{"'quoted'", "\\&\\(aqquoted\\(aq"},
                                         RoffRow{"--home ~/x", "\\-\\-home \\(ti/x"},
                                         RoffRow{"a\\b", "a\\eb"}, RoffRow{"a\n.b", "a .b"},
                                         RoffRow{"`^`", "\\(ga\\(ha\\(ga"}),
                         [](const auto& row) { return "Row" + std::to_string(row.index); });

TEST(ManualPagesTest, TheProgramHasOneAndEachOfItsCommandsThatIsShown) {
    const CommandDescription program{
        .help = "Does it",
        .commands = {{.path = {"run"}, .help = "Run it"},
                     {.path = {"man"}, .help = "No", .isHidden = true},
                     {.path = {"queue"},
                      .help = "The queue",
                      .commands = {{.path = {"queue", "list"}, .help = "List it"}}}}};
    const auto pages = manualPages(program, {.version = "1.2", .date = "2026-11-22"});
    ASSERT_THAT(pages, ElementsAre(Field(&ManualPage::fileName, "quernlight-dispatch.1"),
                                   Field(&ManualPage::fileName, "quernlight-dispatch-run.1"),
                                   Field(&ManualPage::fileName, "quernlight-dispatch-queue.1")));
    EXPECT_THAT(pages.back().text,
                StartsWith(".TH QUERNLIGHT-DISPATCH-QUEUE 1 \"2026-11-22\" \"quernlight-dispatch 1.2\""));
    EXPECT_THAT(pages.back().text, HasSubstr(".SS queue list\nList it.\n"));
}

}  // namespace
}  // namespace quernlight::host
