#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/child_process.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using Words = std::vector<std::string>;

/// Completion, by the program alone and in real shells. The home holds the bug 3f2a9c1d.
class CompletionCommandTest : public test::DispatchFixture {
  protected:
    void SetUp() override {
        reportClearBug("3f2a9c1d");
        startBackend();
        ASSERT_EQ(runOnce().exitCode, 0);
        mapApp();
        environment["QUERNLIGHT_DISPATCH_HOME"] = home();
        environment["PATH"] = executable.parent_path().string() + ":" + environment["PATH"];
        environment["LC_ALL"] = "C.UTF-8";
        environment["TERM"] = "xterm";
    }
    std::string complete(Words words) {
        words.insert(words.begin(), "__complete");
        const auto outcome = dispatch(words);
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.error, "");
        return outcome.output;
    }
    /// What the shell prints that reads this script.
    std::string in(const std::string& shell, const std::string& script) {
        test::writeFile(repository.scratch("script"), script);
        std::vector<std::string> entries;
        for (const auto& [name, value] : environment) {
            entries.push_back(name + "=" + value);
        }
        ChildProcessRequest request{.executable = "/usr/bin/env",
                                    .arguments = {"timeout", "40", shell, repository.scratch("script")},
                                    .environment = std::move(entries),
                                    .workingDirectory = repository.scratch("")};
        return test::runTask(runChildProcess(std::move(request))).output;
    }
    /// What bash offers for the words, the last of which is completed.
    std::string inBash(const std::string& words) {
        return in("bash", "source <(quernlight-dispatch completion bash)\nCOMP_WORDS=(quernlight-dispatch " +
                              words +
                              ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_quernlight_dispatch\n"
                              "printf '%s\\n' \"${COMPREPLY[@]}\"\n");
    }
    std::string inFish(const std::string& line) {
        return in("fish", "quernlight-dispatch completion fish | source\ncomplete -C 'quernlight-dispatch " +
                              line + "'\n");
    }
    /// What an interactive zsh has made of the line after a tab key, in braces, and what it has listed
    /// before.
    std::string inZsh(const std::string& line) {
        return in("zsh", R"(
            zmodload zsh/zpty
            zpty -b shell zsh -f -i
            zpty -w shell "PS1='> '; autoload -Uz compinit; compinit -u -D"
            zpty -w shell 'tell() { print -r -- "{$BUFFER}" }; zle -N tell; bindkey ^T tell'
            zpty -w shell 'source <(quernlight-dispatch completion zsh); print re""ady'
            zpty -r shell seen '*ready*'
            zpty -w -n shell $'quernlight-dispatch )" +
                             line + R"(\t\C-t'
            zpty -r shell seen $'*{*}*' && print -r -- "$seen"
        )");
    }
};

TEST_F(CompletionCommandTest, OffersTheNamesOfPreservedWork) {
    repository.git({"update-ref", "refs/quernlight/preserved/Shop-99999999", "main"});
    EXPECT_EQ(complete({"preserved", "show", ""}), "Shop-99999999\tShop\n");
    EXPECT_EQ(complete({"preserved", "restore", "Shop-9"}), "Shop-99999999\tShop\n");
}

TEST_F(CompletionCommandTest, OffersWhatTheHomeHolds) {
    EXPECT_EQ(complete({"queue", "show", ""}), "3f2a9c1d\tqueued: Crash on launch\n");
    EXPECT_EQ(complete({"queue", "show", "4"}), "");
    EXPECT_EQ(complete({"map", "set", "--bundle", ""}), "com.acme.shop\tShop\n");
    EXPECT_EQ(complete({"config", "set", "retire.enabled", ""}), "true\t\nfalse\t\n");
    EXPECT_THAT(complete({"config", "set", "sessions.m"}), StartsWith("sessions.max\t"));
    EXPECT_EQ(complete({"completion", "b"}), "bash\t\n");
    EXPECT_EQ(complete({"run", "--home="}), ":directories\n");
    EXPECT_EQ(complete({"run", "--log-file", ""}), ":files\n");
}

TEST_F(CompletionCommandTest, SaysNothingOfAHomeThatCannotBeReadAndMakesNone) {
    const auto none = repository.scratch("none");
    EXPECT_EQ(complete({"--home", none, "queue", "show", ""}), "");
    EXPECT_FALSE(std::filesystem::exists(none));
    test::writeFile(repository.scratch("broken") / "queue.sqlite", "this is no database, whoever wrote it");
    EXPECT_EQ(complete({"--home", repository.scratch("broken"), "queue", "show", ""}), "");
}

TEST_F(CompletionCommandTest, WorksInBash) {
    EXPECT_EQ(inBash("queue sh"), "show\n");
    EXPECT_EQ(inBash("queue show ''"), "3f2a9c1d\n");
    EXPECT_EQ(inBash("--home = ~/none queue show ''"), "\n");
    EXPECT_EQ(inBash("run --log-file = seed.j"), "seed.json\n");
    EXPECT_EQ(inBash("run --home /et"), "/etc\n");
}

TEST_F(CompletionCommandTest, WorksInFish) {
    EXPECT_EQ(inFish("queue sh"), "show\tShow one bug, what it waits for, and its history\n");
    EXPECT_EQ(inFish("queue show "), "3f2a9c1d\tqueued: Crash on launch\n");
    EXPECT_THAT(inFish("run --log-file=seed.j"), HasSubstr("--log-file=seed.json"));
    EXPECT_THAT(inFish("run --home /et"), AllOf(HasSubstr("/etc/"), Not(HasSubstr("passwd"))));
}

TEST_F(CompletionCommandTest, WorksInZsh) {
    EXPECT_THAT(inZsh("queue sh"), HasSubstr("{quernlight-dispatch queue show }"));
    EXPECT_THAT(inZsh("queue show "), HasSubstr("{quernlight-dispatch queue show 3f2a9c1d }"));
    EXPECT_THAT(inZsh("queue "), ContainsRegex("start +-- Let a bug of the"));
    EXPECT_THAT(inZsh("run --log-file seed.j"), HasSubstr("{quernlight-dispatch run --log-file seed.json }"));
    EXPECT_THAT(inZsh("run --home=/et"), HasSubstr("{quernlight-dispatch run --home=/etc/}"));
}

}  // namespace
}  // namespace quernlight
