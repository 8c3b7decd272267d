#include "host/agent/output_timing.hpp"

#include <sys/stat.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/agent_screen_fixture.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(TimingTest, WhatIsWrittenIsReadUpToNonsense) {
    const std::vector<TimedOutput> moments{{.after = milliseconds(0), .bytes = 10},
                                           {.after = milliseconds(61'007), .bytes = 20}};
    const std::string text = timingLine(moments[0]) + timingLine(moments[1]);
    EXPECT_EQ(text, "0.000 10\n61.007 20\n");
    EXPECT_EQ(parseTiming(text), moments);
    for (const char* nonsense :
         {"x\n", "60.000 30\n", "62.000 19\n", "62.000\n", "62.000 21 \n", "62.000 2"}) {
        EXPECT_EQ(parseTiming(text + nonsense), moments) << nonsense;
    }
    EXPECT_THAT(parseTiming(""), IsEmpty());
}

class OutputTimingTest : public test::AgentScreenFixture {
  protected:
    void record() {
        timing.emplace(*launch.terminal(), time, drawing, file);
        tasks.add("recording", timing->run());
        before = launch.terminal()->bytes();
    }
    ~OutputTimingTest() override { end(); }
    void end() {
        run(tasks.end());
        timing.reset();
    }
    void writes(std::size_t count) {
        agent.write(std::string(count, 'x'));
        settle();
    }
    std::vector<TimedOutput> recorded() const { return parseTiming(quernlight::test::readFile(file)); }

    quernlight::test::TemporaryDirectory directory;
    const std::filesystem::path file = directory.path() / "timing.txt";
    std::optional<OutputTiming> timing;
    std::uint64_t before = 0;
};

TEST_F(OutputTimingTest, WhatComesTogetherIsOneMoment) {
    record();
    writes(3);
    advance(milliseconds(9));
    writes(2);
    advance(seconds(7));
    writes(5);
    end();
    EXPECT_THAT(recorded(), ElementsAre(TimedOutput{.after = milliseconds(0), .bytes = before + 5},
                                        TimedOutput{.after = milliseconds(7009), .bytes = before + 10}));
}

TEST_F(OutputTimingTest, TheFileIsWrittenMeanwhileAndForItsOwnerAlone) {
    record();
    writes(3);
    advance(seconds(1));
    writes(3);
    advance(seconds(1));
    settle();
    EXPECT_THAT(recorded(), SizeIs(1));
    struct stat found {};
    ASSERT_EQ(stat(file.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0600U);
}

TEST_F(OutputTimingTest, AFileThatCannotBeWrittenHoldsUpNothing) {
    std::filesystem::create_directory(file);
    record();
    writes(3);
    advance(seconds(1));
    writes(3);
    advance(seconds(1));
    EXPECT_EQ(launch.terminal()->bytes(), before + 6);
}

}  // namespace
}  // namespace quernlight::host
