#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/doctor/agent_checks.hpp"
#include "host/doctor/backend_checks.hpp"
#include "host/doctor/home_checks.hpp"
#include "host/doctor/repository_checks.hpp"
#include "quernlight/backend/backend_error.hpp"
#include "quernlight/backend/transport_error.hpp"

namespace quernlight::host {
namespace {

using testing::HasSubstr;
using enum Verdict;

struct FindingRow {
    const char* name;
    Finding finding;
    Verdict verdict;
    const char* seen;  ///< a part of it
};

void PrintTo(const FindingRow& row, std::ostream* out) {
    *out << row.name;
}

class FindingTest : public testing::TestWithParam<FindingRow> {};

TEST_P(FindingTest, SaysWhetherBugsGetThroughAndWhatWasSeen) {
    const FindingRow& row = GetParam();
    EXPECT_EQ(row.finding.verdict, row.verdict);
    EXPECT_THAT(row.finding.seen, HasSubstr(row.seen));
    EXPECT_EQ(row.finding.advice.empty(), row.verdict == ok);
}

HomeFacts home() {
    return {
        .home = "/h", .exists = true, .isDirectory = true, .isOurs = true, .isWritable = true, .mode = 0700};
}

HomeFacts homeWith(auto change) {
    HomeFacts facts = home();
    change(facts);
    return facts;
}

INSTANTIATE_TEST_SUITE_P(
    Home, FindingTest,
    testing::Values(
        FindingRow{"well", homeFinding(home()), ok, "/h"},
        FindingRow{"not yet there", homeFinding({.home = "/h", .isWritable = true}), warning,
                   "There is none at /h yet."},
        FindingRow{"cannot be made", homeFinding({.home = "/h"}), stops, "cannot be made there"},
        FindingRow{"a file", homeFinding(homeWith([](HomeFacts& facts) { facts.isDirectory = false; })),
                   stops, "/h is no directory."},
        FindingRow{"not to be written",
                   homeFinding(homeWith([](HomeFacts& facts) { facts.isWritable = false; })), stops,
                   "/h cannot be written."},
        FindingRow{"another user's", homeFinding(homeWith([](HomeFacts& facts) { facts.isOurs = false; })),
                   warning, "belongs to another user"},
        FindingRow{"open to others", homeFinding(homeWith([](HomeFacts& facts) { facts.mode = 0755; })),
                   warning, "(mode 0755)"},
        FindingRow{"shared on purpose", homeFinding(homeWith([](HomeFacts& facts) { facts.mode = 01777; })),
                   ok, "/h"},
        FindingRow{"a full disk", diskFinding(5 << 20), stops, "5 MiB are free"},
        FindingRow{"little room", diskFinding(200 << 20), warning, "200 MiB are free"},
        FindingRow{"much room", diskFinding(std::uintmax_t{3} << 30), ok, "3072 MiB are free"}));

INSTANTIATE_TEST_SUITE_P(
    Git, FindingTest,
    testing::Values(
        FindingRow{"of the day", gitFinding({0, "git version 2.39.5 (Apple Git-154)\n"}), ok,
                   "git version 2.39.5 (Apple Git-154)."},
        FindingRow{"the oldest", gitFinding({0, "git version 2.38.0"}), ok, "2.38.0"},
        FindingRow{"without merge-tree", gitFinding({0, "git version 2.37.9"}), warning, "squashed"},
        FindingRow{"without worktree list -z", gitFinding({0, "git version 2.35.1"}), stops, "is too old"},
        FindingRow{"of another age", gitFinding({0, "git version 1.99.0"}), stops, "is too old"},
        FindingRow{"not to be started", gitFinding({1, "No such file or directory"}), stops,
                   "/usr/bin/git cannot be used: No such file or directory"},
        FindingRow{"of other words", gitFinding({0, "hello"}), stops, "cannot be used: hello"}));

AgentAnswer says(int exitCode, const std::string& output) {
    return {.hasEnded = true, .exitCode = exitCode, .output = output};
}

const AgentAnswer notLoggedIn = says(1, "Not logged in\n");

INSTANTIATE_TEST_SUITE_P(
    Agent, FindingTest,
    testing::Values(
        FindingRow{"its version", versionFinding(says(0, "codex-cli 0.169.0\nmore"), "/bin/codex"), ok,
                   "codex-cli 0.169.0, at /bin/codex."},
        FindingRow{"broken", versionFinding(says(127, "no node"), "/bin/codex"), stops,
                   "status 127: no node"},
        FindingRow{"silent", versionFinding({}, "/bin/codex"), warning, "in time"},
        FindingRow{"with goals",
                   goalsFinding(says(0, "fast_mode  stable  true\ngoals         stable        true\n")), ok,
                   "has /goal"},
        FindingRow{"before goals", goalsFinding(says(0, "fast_mode  stable  true\n")), stops, "has no /goal"},
        FindingRow{"goals removed", goalsFinding(says(0, "goals  removed  false\n")), stops, "has no /goal"},
        FindingRow{"without features", goalsFinding(says(2, "unrecognized subcommand")), warning,
                   "cannot be told"}));

INSTANTIATE_TEST_SUITE_P(
    Login, FindingTest,
    testing::Values(
        FindingRow{"logged in", loginFinding({.status = says(0, "Logged in using an API key - sk-***")}), ok,
                   "It says that it is logged in"},
        FindingRow{"not logged in", loginFinding({.status = notLoggedIn}), stops, "not logged in"},
        FindingRow{"logged out with a file", loginFinding({.status = notLoggedIn, .hasLoginFile = true}),
                   stops, "not logged in"},
        FindingRow{"a key", loginFinding({.status = notLoggedIn, .hasKey = true}), ok, "holds a key"},
        FindingRow{"another provider", loginFinding({.status = notLoggedIn, .provider = "own"}), ok,
                   "\"own\", which wants no login"},
        FindingRow{"one with a key",
                   loginFinding({.provider = "own", .keyVariable = "OWN_KEY", .keyReachesIt = true}), ok,
                   "whose key is in OWN_KEY"},
        FindingRow{"one without its key", loginFinding({.provider = "own", .keyVariable = "OWN_KEY"}),
                   warning, "whose key OWN_KEY agents would not get"},
        FindingRow{"cannot be asked", loginFinding({}), warning, "cannot be told"},
        FindingRow{"cannot be asked, a file", loginFinding({.hasLoginFile = true}), ok, "auth.json"}));

const Url backend = Url::parse("https://bugs.example").value();

INSTANTIATE_TEST_SUITE_P(
    Backend, FindingTest,
    testing::Values(
        FindingRow{"a wrong token", backendFinding(backend, BackendError::server(401, "no")), stops,
                   "https://bugs.example refuses the token (HTTP 401)."},
        FindingRow{"a forbidden one", backendFinding(backend, BackendError::server(403, "")), stops,
                   "refuses"},
        FindingRow{"broken", backendFinding(backend, BackendError::server(500, "oops")), stops, "500"},
        FindingRow{"unreachable",
                   backendFinding(backend, TransportError(TransportError::Reason::failed, "No route.")),
                   stops, "https://bugs.example: No route."}));

TEST(FindingsTest, WhatTwoChecksSawAlikeIsToldOnce) {
    const std::string locked = "The token store is locked.";
    const Findings told = withoutRepetitions(
        {{.check = "token", .verdict = stops, .seen = locked, .advice = "Unlock it."},
         {.check = "disk", .seen = "It can be written."},
         {.check = "home", .seen = "It can be written."},
         {.check = "token store", .verdict = stops, .seen = locked, .advice = "Unlock it."}});
    EXPECT_EQ(told[0].seen, locked);
    EXPECT_EQ(told[2].seen, "It can be written.") << "what is well is told of each";
    EXPECT_EQ(told[3].seen, "The same as: token.");
    EXPECT_EQ(told[3].advice, "");
    EXPECT_TRUE(stopsTheRoad({told[3]}));
}

TEST(SandboxTest, APlaceForTemporaryFilesCanBeWrittenByAgents) {
    const EnvironmentMap environment{{"TMPDIR", "/var/scratch/"}};
    EXPECT_EQ(sandboxWritableAround("/tmp/bugs", environment), "/tmp");
    EXPECT_EQ(sandboxWritableAround("/tmp", {}), "/tmp");
    EXPECT_EQ(sandboxWritableAround("/var/scratch/src/notes", environment), "/var/scratch/");
    EXPECT_EQ(sandboxWritableAround("/var/scratch2", environment), std::nullopt);
    EXPECT_EQ(sandboxWritableAround("/home/me/tmp", {{"TMPDIR", ""}}), std::nullopt);
}

}  // namespace
}  // namespace quernlight::host
