#include <ostream>

#include <gtest/gtest.h>

#include "host/view/terminal_style.hpp"

namespace quernlight::host {
namespace {

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

}  // namespace
}  // namespace quernlight::host
