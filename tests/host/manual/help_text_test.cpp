#include "host/manual/help_text.hpp"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/manual/command_notes.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

using testing::HasSubstr;
using testing::Not;

const OptionDescription bug{.names = {"bug"}, .value = "BUG", .help = "The bug's id", .isRequired = true};
const OptionDescription file{
    .names = {"--file"}, .value = "FILE", .help = "What is sent", .isRequired = true};
const OptionDescription quiet{.names = {"-q", "--quiet"}, .help = "Say less than would be said without it"};

CommandDescription sending() {
    return {.path = {"queue", "send"}, .help = "Send it", .arguments = {bug}, .options = {file, quiet}};
}

TEST(HelpTextTest, TellsUseArgumentsAndOptions) {
    EXPECT_THAT(helpText(sending(), 80), HasSubstr(R"(Send it.

Usage: quernlight-dispatch queue send [OPTIONS] --file FILE BUG

Arguments:
  BUG  The bug's id

Options:
  --file FILE  What is sent (required)
  -q, --quiet  Say less than would be said without it
)"));
}

TEST(HelpTextTest, WrapsBesideTheTermsToTheWidth) {
    EXPECT_THAT(helpText(sending(), 40), HasSubstr(R"(
  -q, --quiet  Say less than would be
               said without it
)"));
}

TEST(HelpTextTest, ALongTermHasItsTextOnTheNextLine) {
    CommandDescription command = sending();
    command.options.front().names = {"--a-name-that-is-really-very-long"};
    EXPECT_THAT(helpText(command, 80), HasSubstr(R"(
  --a-name-that-is-really-very-long FILE
               What is sent (required)
)"));
}

TEST(HelpTextTest, ListsTheProgramsCommandsByGroupAndNoHiddenOnes) {
    const CommandDescription program{.help = "Does it",
                                     .commands = {{.path = {"run"}, .help = "Run it"},
                                                  {.path = {"secret"}, .help = "No", .isHidden = true},
                                                  {.path = {"map"}, .help = "Map it"},
                                                  {.path = {"juggle"}, .help = "Keep it up"}}};
    const std::string text = helpText(program, 80);
    EXPECT_THAT(text, HasSubstr("\nDaily work:\n  run  Run it\n\nSet-up:\n  map  Map it\n\nMore:\n  juggle"));
    EXPECT_THAT(text, Not(HasSubstr("secret")));
}

struct ValueRow {
    const char* name;
    const char* declared;
    const char* value;
};

class ValueNameTest : public testing::TestWithParam<ValueRow> {};

TEST_P(ValueNameTest, IsWhatPeopleRead) {
    EXPECT_EQ(valueName(GetParam().name, GetParam().declared), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Table, ValueNameTest,
                         testing::Values(ValueRow{"--home", "TEXT", "DIR"},
                                         ValueRow{"--home", "PLACE", "PLACE"},
                                         ValueRow{"--backend", "TEXT", "URL"},
                                         ValueRow{"--never-heard-of", "TEXT", "TEXT"},
                                         ValueRow{"--never-heard-of", "UINT", "NUMBER"},
                                         ValueRow{"bug", "TEXT", "BUG"}, ValueRow{"bug", "", "BUG"}),
                         [](const auto& row) { return "Row" + std::to_string(row.index); });

}  // namespace
}  // namespace quernlight::host
