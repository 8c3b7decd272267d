#include <ostream>

#include <gmock/gmock.h>

#include "host/view/picture.hpp"
#include "host/view/view_terminal.hpp"

namespace quernlight::host {
namespace {

using testing::Each;
using testing::HasSubstr;
using testing::Not;
using enum TerminalStyle;

struct StyleRow {
    const char* name;
    EnvironmentMap environment;
    TerminalStyle style;
};

void PrintTo(const StyleRow& row, std::ostream* out) {
    *out << row.name;
}

class TerminalStyleTest : public testing::TestWithParam<StyleRow> {};

TEST_P(TerminalStyleTest, IsTheOneThatTheEnvironmentAsksFor) {
    EXPECT_EQ(terminalStyle(GetParam().environment), GetParam().style);
}

INSTANTIATE_TEST_SUITE_P(
    Table, TerminalStyleTest,
    testing::Values(StyleRow{"nothing said", {}, colouredPicture},
                    StyleRow{"a terminal", {{"TERM", "xterm-256color"}}, colouredPicture},
                    StyleRow{"an empty NO_COLOR", {{"NO_COLOR", ""}}, colouredPicture},
                    StyleRow{"no colours", {{"TERM", "xterm"}, {"NO_COLOR", "1"}}, picture},
                    StyleRow{"a dumb terminal", {{"TERM", "dumb"}}, lines},
                    StyleRow{"a dumb one without colours", {{"TERM", "dumb"}, {"NO_COLOR", "1"}}, lines}));

TEST(PictureTest, WithoutColoursItHoldsTheSameTextAndNoEscape) {
    ViewState view{.alerts = {{{AlertTopic::disk}, "The disk is full."}}};
    view.lines.push_back(
        {.progress = {.bugID = "3f2a9c1d", .stage = SessionStage::failed, .detail = "It is."}});
    const auto coloured = pictureOf(view, {}, Instant());
    const auto bare = pictureOf(view, {.coloured = false}, Instant());
    EXPECT_THAT(coloured, Each(HasSubstr("\x1b[")));
    EXPECT_THAT(bare, Each(Not(HasSubstr("\x1b"))));
    EXPECT_THAT(bare.at(0), HasSubstr("! The disk is full."));
    EXPECT_THAT(bare.at(1), HasSubstr("✗ 3f2a9c1d"));
}

}  // namespace
}  // namespace quernlight::host
