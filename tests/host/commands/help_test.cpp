#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/commands/command_line.hpp"
#include "host/manual/command_notes.hpp"
#include "host/manual/help_text.hpp"
#include "host/settings/word_list.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/child_process.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using host::CommandDescription;
using host::CommandExample;
using testing::HasSubstr;
using testing::Le;
using testing::Not;

/// With those beneath it.
void visit(const CommandDescription& command, const std::function<void(const CommandDescription&)>& look) {
    look(command);
    for (const CommandDescription& beneath : command.commands) {
        visit(beneath, look);
    }
}

void eachCommand(const std::function<void(const CommandDescription&)>& look) {
    visit(host::describedProgram(), look);
}

/// What of an example's line the program itself gets: not what the shell does with its output.
std::vector<std::string> programWords(std::string_view line) {
    auto words = *host::splitWords(line.substr(0, std::min(line.find(" > "), line.find(" | "))));
    words.erase(words.begin());
    return words;
}

TEST(HelpTest, EveryExampleIsAnAllowedCommandLine) {
    for (const CommandExample& example : host::commandExamples()) {
        EXPECT_EQ(host::usageTrouble(programWords(example.line)), std::nullopt) << example.line;
        EXPECT_THAT(std::string(example.line),
                    testing::StartsWith("quernlight-dispatch " + std::string(example.command)));
    }
}

TEST(HelpTest, EveryOptionSaysWhatItTakes) {
    eachCommand([](const CommandDescription& command) {
        for (const auto& option : command.options) {
            EXPECT_NE(option.value, "TEXT") << fullName(command) << " " << option.names.back()
                                            << ": name it in command_notes.cpp, or by type_name";
        }
    });
}

TEST(HelpTest, FitsATerminalExceptForExamples) {
    eachCommand([](const CommandDescription& command) {
        const std::string text = host::helpText(command, 80);
        std::istringstream lines(text.substr(0, text.find("\nExamples:")));
        for (std::string line; std::getline(lines, line);) {
            EXPECT_THAT(host::displayWidth(line), Le(80U)) << line;
        }
    });
}

TEST(HelpTest, HiddenCommandsAreNamedNowhere) {
    EXPECT_THAT(host::usageTrouble({}).value_or(""), Not(HasSubstr(", man")));
    EXPECT_THAT(host::usageTrouble({"mam"}).value_or(""), Not(HasSubstr("\"man\"")));
}

class WrittenManualTest : public test::DispatchFixture {
  protected:
    void SetUp() override {
        ASSERT_EQ(dispatch({"man", "--to", pages(), "--date", "2026-11-22"}).exitCode, 0);
    }
    std::filesystem::path pages() const { return repository.scratch("man1"); }

    /// What the command says of the page, which should be nothing.
    static std::string complaints(const std::string& command, const std::filesystem::path& page) {
        ChildProcessRequest request{.executable = "/bin/sh",
                                    .arguments = {"-c", command + " '" + page.string() + "' 2>&1"},
                                    .environment = {"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8"},
                                    .workingDirectory = {}};
        const auto result = test::runTask(runChildProcess(std::move(request)));
        return result.output + (result.exitCode == 0 ? "" : "failed: " + command);
    }
};

TEST_F(WrittenManualTest, AreWrittenWithoutWarnings) {
    int count = 0;
    for (const auto& page : std::filesystem::directory_iterator(pages())) {
        EXPECT_EQ(complaints("mandoc -Tlint -Wwarning", page.path()), "");
        EXPECT_EQ(complaints("groff -ww -man -Tutf8 -z", page.path()), "");
        ++count;
    }
    EXPECT_GT(count, 5);
}

}  // namespace
}  // namespace quernlight
