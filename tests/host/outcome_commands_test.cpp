#include <algorithm>
#include <set>

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/storage/connection.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using test::eventually;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// What a person looks at the morning after: one bug asks, one failed, one is in review. The same, whether a
/// dispatcher runs or not.
class OutcomeCommandsTest : public test::DispatchFixture, public testing::WithParamInterface<bool> {
  protected:
    OutcomeCommandsTest() {
        reportClearBug("3f2a9c1d");
        report("b05d83f7", "It does *not* work");
        reportClearBug("22222222");
        agentDoes("22222222", "crash");
        workAll({"--exit-grace", "1"});
        if (GetParam()) {
            owner = start(runWith());
            EXPECT_TRUE(eventually([&] { return command({"status"}).output.find("runs since") != npos; }));
        }
    }
    test::Outcome command(std::vector<std::string> words) {
        words.insert(words.end(), {"--home", home()});
        return dispatch(words);
    }
    std::filesystem::path worktree() const { return repository.scratch("shop-worktrees/Shop-3f2a9c1d"); }
    /// The pull request of the bug's branch is merged at the remote.
    void mergeBranch() {
        repository.git(repository.bare(), {"update-ref", "refs/heads/main", "refs/heads/Shop-3f2a9c1d"});
    }
    /// Somebody else has made the bug's files, too.
    void conflict() {
        const auto place = repository.scratch("other");
        repository.git({"worktree", "add", "--quiet", "--detach", place, "main"});
        const std::string file = repository.git({"diff", "--name-only", "main...Shop-3f2a9c1d"});
        std::filesystem::create_directories((place / file).parent_path());
        test::writeFile(place / file, "another way\n");
        repository.git(place, {"add", "--all"});
        repository.git(place, {"commit", "--quiet", "-m", "Another way"});
        repository.git(place, {"push", "--quiet", "origin", "HEAD:main"});
    }
    /// As the retirement of a bug leaves its work.
    void keep(const std::string& name) {
        const auto place = repository.scratch("kept");
        repository.git({"worktree", "add", "--quiet", "--detach", place, "main"});
        test::writeFile(place / "kept.txt", "kept\n");
        repository.git(place, {"add", "--all"});
        repository.git(place, {"commit", "--quiet", "-m", "Work in progress"});
        reference = "refs/quernlight/preserved/" + name;
        repository.git({"update-ref", reference, repository.git(place, {"rev-parse", "HEAD"})});
        repository.git({"worktree", "remove", "--force", place});
    }
    /// In alphabetical order; empty for what is no object.
    static std::string membersOf(const boost::json::value& value) {
        std::set<std::string> names;
        if (value.is_object()) {
            for (const auto& [name, member] : value.get_object()) {
                names.emplace(name);
            }
        }
        std::string text;
        for (const std::string& name : names) {
            text += (text.empty() ? "" : " ") + name;
        }
        return text;
    }
    void sql(const std::string& statement) {
        Connection(queueFile(), Connection::Access::readWrite, std::chrono::seconds(5)).execute(statement);
    }
    void editWith(const std::string& script) {
        const auto editor = repository.scratch("editor");
        test::writeFile(editor, "#!/bin/sh\n" + script + "\n");
        std::filesystem::permissions(editor, std::filesystem::perms::owner_all);
        environment["VISUAL"] = "";
        environment["EDITOR"] = editor;
    }
    /// One that may ask the backend.
    test::Outcome asking(std::vector<std::string> words) {
        if (!GetParam()) {
            words.insert(words.end(), {"--backend", address(), "--token-file", tokenFile()});
        }
        return command(std::move(words));
    }

    static constexpr auto npos = std::string::npos;
    std::string reference;
    std::unique_ptr<test::DispatchProcess> owner;
};

TEST_P(OutcomeCommandsTest, TheReportTellsWhatCameOfEachBug) {
    const auto told = asking({"report", "--since", "1h"});
    EXPECT_EQ(told.exitCode, 0) << told.error;
    EXPECT_THAT(
        told.output,
        AllOf(StartsWith("# What the agents did, "),
              HasSubstr("\n1 in review, 1 needs you, 1 failed. Agents worked for "),
              HasSubstr("\n- **b05d83f7** It does \\*not\\* work (Shop): needs reply\n  - Why: Asks: "),
              HasSubstr("\n- **22222222** Crash on launch (Shop): failed\n  - Why: "),
              HasSubstr("\n  - Branch: `Shop-3f2a9c1d`\n  - Pull request: <http")));
    EXPECT_LT(told.output.find("b05d83f7"), told.output.find("22222222"));
    EXPECT_LT(told.output.find("22222222"), told.output.find("3f2a9c1d"));
}

TEST_P(OutcomeCommandsTest, TheReportIsOneObjectForPrograms) {
    const auto report = boost::json::parse(asking({"report", "--json"}).output).as_object();
    EXPECT_EQ(report.at("dispatcher_runs").as_bool(), GetParam());
    EXPECT_EQ(report.at("totals").at("attempts").as_int64(), 3);
    ASSERT_EQ(report.at("bugs").as_array().size(), 3U);
    EXPECT_EQ(report.at("bugs").at(0).at("outcome").as_string(), "needs_person");
    EXPECT_EQ(report.at("bugs").at(2).at("branch").as_string(), "Shop-3f2a9c1d");
    const auto later = command({"report", "--since", "1w", "--json"});
    EXPECT_EQ(later.exitCode, 0) << later.error;
}

TEST_P(OutcomeCommandsTest, AReportOfATimeThatIsNoneIsRefused) {
    const auto refused = command({"report", "--since", "yesterday"});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_THAT(refused.error, HasSubstr("\"yesterday\" is no time that has passed; give one like 12h"));
    EXPECT_EQ(dispatch({"report", "--home", repository.scratch("none")}).exitCode, 1);
}

TEST_P(OutcomeCommandsTest, WhatWasKeptIsListedShownAndRestored) {
    keep("Shop-99999999");
    EXPECT_THAT(command({"preserved", "list"}).output,
                AllOf(StartsWith("BUG "), HasSubstr("\n99999999  Shop "), HasSubstr("+1 -0"),
                      HasSubstr("  no "), HasSubstr("  Shop-99999999\n")));
    const auto shown = command({"preserved", "show", "9999"});
    EXPECT_THAT(shown.output, AllOf(HasSubstr("reference:  refs/quernlight/preserved/Shop-99999999\n"),
                                    HasSubstr("  Work in progress\n"), HasSubstr("  kept.txt\n")))
        << shown.error;
    const auto place = repository.scratch("restored");
    const auto restored = command({"preserved", "restore", "99999999", "--to", place, "--branch", "mine"});
    EXPECT_EQ(restored.exitCode, 0) << restored.error;
    EXPECT_EQ(test::readFile(place / "kept.txt"), "kept\n");
    EXPECT_EQ(repository.git(place, {"branch", "--show-current"}), "mine");
    EXPECT_EQ(command({"preserved", "restore", "99999999", "--branch", "other"}).exitCode, 0);
    EXPECT_EQ(repository.git({"rev-parse", "other"}), repository.git({"rev-parse", reference}));
    repository.git({"merge", "--quiet", "--ff-only", "other"});
    repository.git({"push", "--quiet", "origin", "main"});
    EXPECT_THAT(command({"preserved", "list", "--json"}).output, HasSubstr(R"("contained":"yes")"));
}

TEST_P(OutcomeCommandsTest, WhatIsThereIsNotOverwrittenByARestoration) {
    keep("Shop-99999999");
    repository.git({"branch", "taken"});
    const auto restore = [&](std::vector<std::string> words) {
        words.insert(words.begin(), {"preserved", "restore", "99999999"});
        const auto refused = command(std::move(words));
        EXPECT_EQ(refused.exitCode, 1);
        return refused.error;
    };
    EXPECT_THAT(restore({}), HasSubstr("Say where it is to go: a directory with --to"));
    EXPECT_THAT(restore({"--branch", "taken"}), HasSubstr("There is a branch \"taken\" already"));
    EXPECT_THAT(restore({"--branch", "-x y"}), HasSubstr("\"-x y\" cannot name a branch"));
    EXPECT_THAT(restore({"--to", home()}), HasSubstr("There is something at "));
    EXPECT_THAT(restore({"--to", repository.directory() / "inner"}), HasSubstr("lies inside of "));
    EXPECT_THAT(restore({"--to", home() / "inner"}), HasSubstr("lies inside of "));
    const auto other = repository.scratch("others");
    repository.git({"init", "--quiet", other});
    for (const auto& inner : {other / "inner", other / ".git/inner", repository.bare() / "inner"}) {
        EXPECT_THAT(restore({"--to", inner}), HasSubstr("lies inside of the git repository at "));
    }
    EXPECT_THAT(restore({"--to", repository.scratch("no") / "such"}),
                HasSubstr("is not there; make it first"));
    EXPECT_THAT(command({"preserved", "show", "12"}).error, HasSubstr("Nothing is kept by the name \"12\""));
    EXPECT_EQ(command({"preserved", "show"}).exitCode, 2);
}

TEST_P(OutcomeCommandsTest, ARepositoryThatIsGoneIsToldAndTheOthersListed) {
    keep("Shop-99999999");
    ASSERT_EQ(command({"map", "set", "--bundle", "com.acme.other", "--app", "Other", "--repo",
                       repository.directory()})
                  .exitCode,
              0);
    sql("UPDATE app_mappings SET repo_path = '/no/such/place' WHERE bundle_id = 'com.acme.other'");
    EXPECT_THAT(
        command({"preserved", "list"}).output,
        AllOf(HasSubstr("\n99999999  Shop "), HasSubstr("Not looked at: Git cannot tell what is kept in "
                                                        "/no/such/place")));
}

TEST_P(OutcomeCommandsTest, WorkInReviewIsListedWithWhetherItMerges) {
    const auto listed = asking({"review", "list"});
    EXPECT_THAT(listed.output, AllOf(HasSubstr("\n3f2a9c1d  Shop "), HasSubstr("  merges cleanly  "),
                                     HasSubstr("  Shop-3f2a9c1d  http")))
        << listed.error;
    conflict();
    EXPECT_THAT(asking({"review", "list"}).output, HasSubstr("  conflicts "));
    const auto states = boost::json::parse(asking({"review", "list", "--json"}).output).as_array();
    EXPECT_EQ(states.at(0).at("merge").as_string(), "open");
    EXPECT_EQ(states.at(0).at("conflict").as_string(), "conflicts");
}

TEST_P(OutcomeCommandsTest, MergedBugsAreReapedAfterAPlanSaidSo) {
    EXPECT_THAT(asking({"review", "reap"}).output, HasSubstr("3f2a9c1d: its pull request is not merged.\n"));
    mergeBranch();
    test::writeFile(worktree() / "notes.txt", "not yet committed\n");
    const auto plan = asking({"review", "reap", "--dry-run"});
    EXPECT_THAT(plan.output, HasSubstr("Merged: the bug would leave the queue, and its worktree would go. "
                                       "Would be kept: 1 changed file."))
        << plan.error;
    EXPECT_EQ(status("3f2a9c1d"), "completed");
    const auto reaped = boost::json::parse(asking({"review", "reap", "--json"}).output).as_array();
    EXPECT_TRUE(reaped.at(0).at("goes").as_bool()) << reaped;
    EXPECT_EQ(reaped.at(0).at("preserved").as_string(), "refs/quernlight/preserved/Shop-3f2a9c1d");
    EXPECT_FALSE(std::filesystem::exists(worktree()));
    EXPECT_EQ(asking({"review", "reap"}).output, "No work waits to be merged.\n");
    EXPECT_THAT(asking({"report"}).output,
                AllOf(HasSubstr(", 1 merged."), HasSubstr("\n  - Preserved: `refs/quernlight/preserved/")));
}

TEST_P(OutcomeCommandsTest, SeveralSettingsAreChangedInAnEditor) {
    editWith("printf 'sessions.max 5\\nintake.per_day 7\\n' > \"$1\"");
    const auto edited = command({"config", "edit"});
    EXPECT_EQ(edited.output,
              "sessions.max is now 5; that takes effect at once.\n"
              "intake.per_day is now 7 bugs; that takes effect at once.\n")
        << edited.error;
    editWith("true");
    EXPECT_EQ(command({"config", "edit"}).output, "Nothing was changed.\n");
    editWith("cp \"$1\" '" + repository.scratch("offered").string() + "'; stat -c %a \"$1\" > '" +
             repository.scratch("mode").string() + "'; : > \"$1\"");
    EXPECT_EQ(command({"config", "edit"}).exitCode, 0);
    EXPECT_EQ(command({"config", "get", "sessions.max"}).output, "5\n") << "nobody asks for all defaults so";
    EXPECT_EQ(test::readFile(repository.scratch("mode")), "600\n");
    EXPECT_THAT(test::readFile(repository.scratch("offered")), HasSubstr("\nsessions.max 5\n"));
}

TEST_P(OutcomeCommandsTest, WhatWasTypedIsKeptWhenItCannotBeMeant) {
    editWith("printf 'intake.per_day 7\\nsessions.max lots\\n' > \"$1\"");
    const auto refused = command({"config", "edit"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.error, AllOf(HasSubstr("Line 2: sessions.max must be a whole number"),
                                     HasSubstr("What you typed is kept in ")));
    const std::size_t begin = refused.error.rfind(" /") + 1;
    const std::string file = refused.error.substr(begin, refused.error.rfind('.') - begin);
    EXPECT_THAT(test::readFile(file), HasSubstr("sessions.max lots"));
    std::filesystem::remove(file);
    EXPECT_EQ(command({"config", "get", "intake.per_day"}).output, "20\n");
    editWith("exit 3");
    EXPECT_THAT(command({"config", "edit"}).error, HasSubstr("The editor ended with status 3"));
    environment["EDITOR"] = "/no/such/editor";
    EXPECT_THAT(command({"config", "edit"}).error, HasSubstr("/no/such/editor cannot be started"));
}

TEST_P(OutcomeCommandsTest, WhatTheEditorShowsIsNoneOfWhatIsPrinted) {
    editWith("echo drawn; printf 'intake.per_day 7\\n' >> \"$1\"");
    const auto edited = command({"config", "edit", "--json"});
    EXPECT_EQ(edited.exitCode, 0) << edited.error;
    EXPECT_TRUE(boost::json::parse(edited.output).is_object()) << edited.output;
    EXPECT_THAT(edited.error, HasSubstr("drawn"));
}

TEST_P(OutcomeCommandsTest, WhatWasTypedBeforeAnEditWasKilledIsNamedByTheNextOne) {
    editWith("kill -9 $PPID");
    command({"config", "edit"});
    editWith("printf 'intake.per_day 7\\n' >> \"$1\"; kill -9 $PPID");
    command({"config", "edit"});
    editWith("true");
    const auto next = command({"config", "edit"});
    const std::size_t begin = next.error.find(home().string() + "/settings-edit.");
    ASSERT_NE(begin, npos) << next.error;
    const std::string file = next.error.substr(begin, next.error.find(';', begin) - begin);
    EXPECT_THAT(test::readFile(file), HasSubstr("intake.per_day 7\n"));
    EXPECT_EQ(next.error.find("/settings-edit.", begin + 1 + home().string().size()), npos)
        << "the other one held nothing that was typed";
    std::filesystem::remove(file);
    EXPECT_EQ(command({"config", "edit"}).error, "");
}

TEST_P(OutcomeCommandsTest, SmallMistakesAreNamed) {
    EXPECT_THAT(command({"queue", "list", "--app", "Shopp"}).error,
                HasSubstr("No app is called \"Shopp\", in the queue or among the mappings"));
    const auto status = asking({"bugs", "status", "3f2a9c1d", "in_revue"});
    EXPECT_EQ(status.exitCode, 2);
    EXPECT_THAT(status.error, HasSubstr("\"in_revue\" is no status that is known here; there are: open, "));
    EXPECT_THAT(asking({"bugs", "show", "99999999"}).error,
                HasSubstr("The backend returned HTTP 404: There is no bug 99999999.\n"));
    EXPECT_THAT(command({"config", "set", "agent.command", "\"\" --yes"}).error,
                HasSubstr("must be space-separated words, a program first"));
    EXPECT_THAT(dispatch({"help", "queue", "list"}).output, HasSubstr("--state STATE"));
    EXPECT_EQ(dispatch({"version"}).output, dispatch({"--version"}).output);
    EXPECT_THAT(command({"queue", "show", "b05d83f7"}).output, HasSubstr("question:     "));
}

TEST_P(OutcomeCommandsTest, ABugThatCannotBeReadIsNamedInTheListOfTheOthers) {
    sql("UPDATE queue_items SET status = 'odd' WHERE bug_id = '22222222'");
    const auto listed = command({"queue", "list", "--all", "--json"});
    EXPECT_EQ(listed.exitCode, 0);
    const std::string sentence = "Bug 22222222 of the queue cannot be read (Missing SQLite column status.)";
    EXPECT_THAT(listed.error, StartsWith(sentence));
    const auto bugs = boost::json::parse(listed.output).as_array();
    ASSERT_EQ(bugs.size(), 3U);
    EXPECT_EQ(membersOf(bugs.back()), "bug unreadable");
    EXPECT_EQ(bugs.back().at("bug").as_string(), "22222222");
    EXPECT_THAT(std::string(bugs.back().at("unreadable").as_string()), StartsWith(sentence));
}

TEST_P(OutcomeCommandsTest, WhatPrintsJsonPrintsOneValueOfItsForm) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> rows{
        {{"sessions", "log", "3f2a9c1d"}, "attempt bug text transcript"},
        {{"sessions", "list"}, ""},
        {{"preserved", "list"}, "troubles works"},
        {{"service", "install", "--dry-run"}, "file text"},
        {{"config", "edit"}, "settings troubles"},
    };
    editWith("true");
    for (const auto& [words, members] : rows) {
        auto asked = words;
        asked.emplace_back("--json");
        const auto outcome = command(asked);
        EXPECT_EQ(outcome.exitCode, 0) << words.back() << outcome.error;
        EXPECT_EQ(std::ranges::count(outcome.output, '\n'), 1) << outcome.output;
        EXPECT_EQ(membersOf(boost::json::parse(outcome.output)), members);
    }
    const auto attached = command({"sessions", "attach", "3f2a9c1d", "--json"});
    EXPECT_EQ(attached.exitCode, 2);
    EXPECT_THAT(attached.error, HasSubstr("sessions show BUG --screen --json"));
    EXPECT_EQ(command({"sessions", "log", "3f2a9c1d", "-f", "--json"}).exitCode, 2);
}

INSTANTIATE_TEST_SUITE_P(All, OutcomeCommandsTest, testing::Bool(),
                         [](const auto& runs) { return runs.param ? "AskedOfTheOwner" : "WithoutAnOwner"; });

}  // namespace
}  // namespace quernlight
