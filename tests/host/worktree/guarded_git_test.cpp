#include "host/worktree/guarded_git.hpp"

#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using testing::Contains;
using testing::ElementsAre;

struct Filter {
    const char* name;
    const char* settings;
    bool isLeftOut;  // filter "x"
};

void PrintTo(const Filter& row, std::ostream* out) {
    *out << row.name;
}

class GuardOptionsTest : public testing::TestWithParam<Filter> {};

TEST_P(GuardOptionsTest, LeaveOutWhatMayRunAFileOfTheWorktrees) {
    const auto options = guardOptions(GetParam().settings);
    for (const char* option :
         {"filter.x.clean=", "filter.x.smudge=", "filter.x.process=", "filter.x.required=false"}) {
        EXPECT_EQ(testing::Value(options, Contains(option)), GetParam().isLeftOut) << option;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GuardOptionsTest,
    testing::Values(
        Filter{"a file of the worktree's", "filter.x.clean ./clean.sh %f", true},
        Filter{"an interpreter and a file", "filter.x.smudge node tools/smudge.js", true},
        Filter{"a file without a path", "filter.x.clean python clean.py", true},
        Filter{"another of the same name", "filter.x.clean git-lfs clean -- %f\nfilter.x.smudge ./s", true},
        Filter{"a known one", "filter.x.process git-lfs filter-process", false},
        Filter{"a known one as git's command", "filter.x.clean git lfs clean -- %f", false},
        Filter{"a known one in quotes", "filter.x.clean \"git-crypt\" clean", false},
        Filter{"a known one and a file", "filter.x.clean git-lfs clean; ./run", true},
        Filter{"a command of two lines", "filter.x.clean git-lfs clean\n./run", true},
        Filter{"a name with dots and blanks in a command", "filter.y.z.clean ./run filter.x.clean", false},
        Filter{"none", "", false}));

TEST(GuardOptionsTest, LeaveOutHooksAndTheMonitorAlways) {
    EXPECT_THAT(guardOptions(""),
                ElementsAre("-c", "core.hooksPath=/dev/null", "-c", "core.fsmonitor=false"));
}

}  // namespace
}  // namespace quernlight::host
