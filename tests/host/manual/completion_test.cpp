#include "host/manual/completion.hpp"

#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using testing::ElementsAre;

const OptionDescription help{.names = {"-h", "--help"}, .help = "Help"};
const OptionDescription home{.names = {"--home"}, .value = "DIR", .help = "Home"};
const OptionDescription attach{
    .names = {"--attach"}, .value = "FILE", .help = "A file", .isRepeatable = true};
const OptionDescription bug{.names = {"bug"}, .value = "BUG", .isRequired = true};
const OptionDescription text{.names = {"text"}, .value = "TEXT", .isRepeatable = true};

CommandDescription program() {
    const CommandDescription show{.path = {"queue", "show"}, .arguments = {bug}, .options = {help, home}};
    const CommandDescription list{.path = {"queue", "list"}, .options = {help, home}};
    const CommandDescription answer{
        .path = {"answer"}, .arguments = {bug, text}, .options = {attach, help, home}};
    return {.options = {help, home},
            .commands = {{.path = {"queue"}, .options = {help}, .commands = {list, show}},
                         answer,
                         {.path = {"man"}, .isHidden = true}}};
}

struct CompletionRow {
    std::vector<std::string> words;
    std::string value;                 ///< what is taken there
    std::vector<std::string> offered;  ///< commands and options, those that begin so or not
    std::string option = "";
};

void PrintTo(const CompletionRow& row, std::ostream* out) {
    *out << joined(row.words, " ");
}

class CompletionTest : public testing::TestWithParam<CompletionRow> {};

TEST_P(CompletionTest, OffersWhatMayStandThere) {
    const Completion completion = completionOf(program(), GetParam().words);
    std::vector<std::string> offered;
    for (const Candidate& candidate : completion.candidates) {
        offered.push_back(candidate.text);
    }
    EXPECT_EQ(completion.value, GetParam().value);
    EXPECT_EQ(offered, GetParam().offered);
    EXPECT_EQ(completion.option, GetParam().option);
}

using Words = std::vector<std::string>;

INSTANTIATE_TEST_SUITE_P(
    Table, CompletionTest,
    testing::Values(CompletionRow{{}, "", {"queue", "answer"}},
                    CompletionRow{{"qu"}, "", {"queue", "answer"}},
                    CompletionRow{{"-"}, "", {"--help", "--home"}},
                    CompletionRow{{"queue", ""}, "", {"list", "show"}},
                    CompletionRow{{"queue", "show", ""}, "BUG", {}},
                    CompletionRow{{"queue", "show", "--"}, "", {"--help", "--home"}},
                    CompletionRow{{"queue", "show", "--home", ""}, "DIR", {}},
                    CompletionRow{{"queue", "show", "--home=x"}, "DIR", {}, "--home="},
                    CompletionRow{{"queue", "show", "--home", "x", ""}, "BUG", {}},
                    CompletionRow{{"queue", "show", "--home", "x", "--"}, "", {"--help"}},
                    CompletionRow{{"queue", "--home", "x", "show", ""}, "BUG", {}},
                    CompletionRow{{"queue", "show", "1", ""}, "", {"--help", "--home"}},
                    CompletionRow{{"queue", "show", "--", "-"}, "BUG", {}},
                    CompletionRow{{"answer", "1", ""}, "TEXT", {}},
                    CompletionRow{{"answer", "1", "one", "two", ""}, "TEXT", {}},
                    CompletionRow{{"answer", "--attach", "f", "--"}, "", {"--attach", "--help", "--home"}},
                    CompletionRow{{"answer", "--none=", "-h", "1", "-"}, "", {"--attach", "--home"}},
                    CompletionRow{{"nonsense", "more", ""}, "", {"queue", "answer"}}));

TEST(CompletionHomeTest, IsTheOneThatTheLineNames) {
    EXPECT_EQ(completionOf(program(), {"queue", "show", ""}).home, std::nullopt);
    EXPECT_EQ(completionOf(program(), {"--home", "~/x", "queue", "show", ""}).home, "~/x");
    EXPECT_EQ(completionOf(program(), {"queue", "show", "--home=y", ""}).home, "y");
}

TEST(CandidateLinesTest, HoldWhatBeginsAsTypedAndIsPlain) {
    const Completion completion{.option = "--bug=", .typed = "a"};
    EXPECT_EQ(candidateLines(completion, {{"a1", "one\tand\nmore"},
                                          {"b2", "another"},
                                          {"a $(rm)", "no shell may read this"},
                                          {"a.b-c_d", std::string(70, 'x')}}),
              "--bug=a1\tone and more\n--bug=a.b-c_d\t" + std::string(59, 'x') + "…\n");
}

}  // namespace
}  // namespace quernlight::host
