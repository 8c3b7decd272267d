#include "quernlight/runner/prompt_readiness.hpp"

#include <chrono>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

/// Output and questions at seconds since the session's start.
class PromptReadinessTest : public testing::Test {
  protected:
    void use(const PromptReadinessConfiguration& configuration) {
        readiness_ = PromptReadiness(start_, configuration);
    }

    void output(double seconds, std::string_view bytes) { readiness_.recordOutput(bytes, at(seconds)); }

    bool readyAt(double seconds) const { return readiness_.isReady(at(seconds)); }

    /// Whether the prompt is held back until just before `seconds`, and no longer.
    bool becomesReadyAt(double seconds) const { return !readyAt(seconds - 0.001) && readyAt(seconds); }

    std::optional<Instant> lastSentinelAt() const { return readiness_.lastSentinelAt(); }
    bool sentinelMatched() const { return readiness_.sentinelMatched(); }
    std::string recentOutput() const { return std::string(readiness_.recentOutput()); }

    Instant at(double seconds) const {
        return start_ + duration_cast<milliseconds>(
                            std::chrono::duration<double, std::milli>(std::round(seconds * 1000)));
    }

  private:
    Instant start_{std::chrono::sys_days(std::chrono::year{2026} / 3 / 4)};
    PromptReadiness readiness_{start_, PromptReadinessConfiguration::codexDefault()};
};

TEST_F(PromptReadinessTest, TheCodexDefaultHoldsTheValuesThatTheAgentNeeds) {
    const auto configuration = PromptReadinessConfiguration::codexDefault();
    EXPECT_EQ(configuration.quietDelay, 1.5);
    EXPECT_EQ(configuration.maxDelay, 45.0);
    EXPECT_EQ(configuration.sentinel, "\xE2\x80\xBA");
    EXPECT_TRUE(configuration.sentinelRequiresQuiet);
    EXPECT_TRUE(configuration.waitForCodexStartup);
    EXPECT_EQ(configuration.startupStaleDelay, 8.0);
}

TEST_F(PromptReadinessTest, ASentinelIsReadyOnceTheTerminalHasBeenQuiet) {
    output(1, "› ");
    output(2, "blink");
    EXPECT_TRUE(becomesReadyAt(3.5));
}

TEST_F(PromptReadinessTest, ASentinelSplitAfterItsFirstByteIsFound) {
    output(1, "abc\xE2");
    output(1, "\x80\xBA ");
    EXPECT_TRUE(sentinelMatched());
}

TEST_F(PromptReadinessTest, ASentinelThatArrivesByteByByteIsFound) {
    output(1, "\xE2");
    output(1, "\x80");
    output(1, "");
    EXPECT_FALSE(sentinelMatched());
    output(1, "\xBA");
    EXPECT_TRUE(sentinelMatched());
}

TEST_F(PromptReadinessTest, ASentinelOfOneByteIsFoundInsideAChunk) {
    use({.sentinel = ">"});
    output(1, "no");
    output(1, "a > b");
    EXPECT_TRUE(sentinelMatched());
}

TEST_F(PromptReadinessTest, PiecesOfASentinelWithOtherBytesBetweenAreNoSentinel) {
    output(1, "\xE2\x80");
    output(1, "x\xBA");
    EXPECT_FALSE(sentinelMatched());
}

TEST_F(PromptReadinessTest, ASentinelThatNeedsNoQuietIsReadyAtOnce) {
    use({.sentinelRequiresQuiet = false});
    output(1, "Starting MCP servers\n›");
    EXPECT_TRUE(readyAt(1));
}

TEST_F(PromptReadinessTest, StaleMcpStartUpStillWaitsForTheQuietPeriod) {
    output(1, "Starting MCP servers (0/2)\n› ");
    output(8.5, "spinner");
    EXPECT_TRUE(becomesReadyAt(10));
}

TEST_F(PromptReadinessTest, ALineBreakSeparatesTheModelFromTheWordLoading) {
    for (const auto* lineBreak : {"\n", "\v", "\f", "\r", "\r\n", "\u0085", "\u2028", "\u2029"}) {
        use(PromptReadinessConfiguration::codexDefault());
        output(1, "› model: large" + std::string(lineBreak) + "loading history");
        EXPECT_TRUE(becomesReadyAt(2.5));
    }
}

TEST_F(PromptReadinessTest, AStartUpLineAmongBytesThatAreNoTextIsRecognised) {
    output(1,
           "\xFF"
           "Starting MCP servers\xE2\n›");
    EXPECT_TRUE(becomesReadyAt(9));
}

TEST_F(PromptReadinessTest, AStartUpLineSplitOverTwoChunksIsNotRecognised) {
    output(1, "› Starting MCP ");
    output(1, "servers\n");
    EXPECT_TRUE(becomesReadyAt(2.5));
}

// One line a second, each behind the prompt; without start-up it is ready 1.5 seconds after the last.
TEST_F(PromptReadinessTest, StartUpBlocksAsItsLatestLinesSay) {
    struct Row {
        const char* name;
        std::vector<const char*> lines;
        double readyAt;
    };
    const Row rows[] = {
        {"no start-up line", {"hello"}, 2.5},
        {"a model that is there, never loaded", {"model: large"}, 2.5},
        {"loading only", {"model: loading"}, 45},
        {"loading, then there; no servers", {"model: loading", "model: large"}, 3.5},
        {"there before it is said to load", {"model: large", "model: loading"}, 3.5},
        {"loading again after it was there", {"model: loading", "model: large", "model: loading"}, 4.5},
        {"servers settled, model still loading",
         {"model: loading", "Starting MCP servers", "MCP startup complete"},
         45},
        {"servers start, model there", {"Starting MCP servers", "model: large"}, 9},
        {"servers never settled", {"Starting MCP servers"}, 9},
        {"servers settled", {"Starting MCP servers", "MCP startup complete"}, 3.5},
        {"servers settled incompletely", {"Starting MCP servers", "MCP startup incomplete"}, 3.5},
        {"a settle line of another spelling",
         {"Starting MCP servers", "mcp startup complete", "MCP startup"},
         9},
        {"a start and its end in one line", {"Starting MCP servers; MCP startup complete"}, 2.5},
        {"servers never settled, model there since",
         {"Starting MCP servers", "model: loading", "model: large"},
         10},
        {"settled before any start", {"MCP startup complete"}, 2.5},
        {"settled, then started", {"MCP startup complete", "Starting MCP servers"}, 10},
        {"started twice, settled",
         {"Starting MCP servers", "Starting MCP servers", "MCP startup failed"},
         4.5},
        {"settled, started again",
         {"Starting MCP servers", "MCP startup incomplete", "Starting MCP servers"},
         11},
        {"settled, started again, settled",
         {"Starting MCP servers", "MCP startup failed", "Starting MCP servers", "MCP startup complete"},
         5.5},
        {"another case of letters", {"MODEL: loading", "starting MCP servers", "Model: Loading"}, 4.5},
        {"a word in another line", {"loading", "MCP servers"}, 3.5},
    };
    for (const Row& row : rows) {
        use(PromptReadinessConfiguration::codexDefault());
        double second = 0;
        for (const auto* line : row.lines) {
            output(++second, "› " + std::string(line) + "\n");
        }
        EXPECT_TRUE(becomesReadyAt(row.readyAt)) << row.name;
    }
}

TEST_F(PromptReadinessTest, EveryLineOfAChunkCountsInItsOrder) {
    output(1, "› Starting MCP servers\nMCP startup complete\nmodel: loading\nmodel: large\n");
    EXPECT_TRUE(becomesReadyAt(2.5));
    use(PromptReadinessConfiguration::codexDefault());
    output(1, "› MCP startup complete\nStarting MCP servers\n");
    EXPECT_TRUE(becomesReadyAt(9));
}

TEST_F(PromptReadinessTest, ALineOfAnEarlierChunkIsNotReadAgain) {
    output(1, "› Starting MCP servers");
    output(2, "\nMCP startup complete\n");
    output(3, "more\n");
    EXPECT_TRUE(becomesReadyAt(4.5));
}

TEST_F(PromptReadinessTest, TheFirstRuleThatAppliesDecides) {
    struct Row {
        const char* name;
        PromptReadinessConfiguration configuration;
        const char* output;
        double readyAt;
    };
    const Row rows[] = {
        {"no sentinel yet, whatever the quiet", {.sentinelRequiresQuiet = false}, "text", 45},
        {"the cap before the missing sentinel", {.maxDelay = 12}, "text", 12},
        {"the cap before start-up", {.maxDelay = 12}, "› model: loading", 12},
        {"the cap before the quiet", {.quietDelay = 100, .maxDelay = 12}, "›", 12},
        {"no sentinel asked for, start-up blocks", {.sentinel = ""}, "Starting MCP servers", 18},
        {"no sentinel asked for, quiet", {.sentinel = ""}, "text", 11.5},
        {"start-up not waited for", {.waitForCodexStartup = false}, "› model: loading", 11.5},
        {"start-up stale sooner", {.startupStaleDelay = 3}, "› Starting MCP servers", 13},
    };
    for (const Row& row : rows) {
        use(row.configuration);
        output(10, row.output);
        EXPECT_TRUE(becomesReadyAt(row.readyAt)) << row.name;
    }
}

TEST_F(PromptReadinessTest, EverySentinelMovesItsTime) {
    output(1, "›");
    output(2, "text");
    EXPECT_EQ(lastSentinelAt(), at(1));
    output(3, "text › text");
    EXPECT_EQ(lastSentinelAt(), at(3));
}

TEST_F(PromptReadinessTest, TheEndOfAChunkThatHeldTheSentinelIsCarriedToo) {
    output(1, "›\xE2");
    output(2, "\x80\xBA");
    EXPECT_EQ(lastSentinelAt(), at(2));
    output(3, "› ");
    output(4, "\xBA");
    EXPECT_EQ(lastSentinelAt(), at(3));
}

TEST_F(PromptReadinessTest, WithoutSentinelAndStartUpItIsReadyAQuietPeriodAfterTheLatestOutput) {
    use({.sentinel = "", .waitForCodexStartup = false});
    EXPECT_TRUE(becomesReadyAt(45));
    output(10, "a");
    output(12, "b");
    EXPECT_TRUE(becomesReadyAt(13.5));
}

TEST_F(PromptReadinessTest, NothingHoldsThePromptBackLongerThanTheMaximumDelay) {
    output(44.9, "Starting MCP servers\nmodel: loading\n");
    EXPECT_TRUE(becomesReadyAt(45));
}

TEST_F(PromptReadinessTest, RecentOutputIsTheLast4096Characters) {
    output(1, "old" + std::string(4090, 'a'));
    output(2, "\u00E9zz\u0301z");
    EXPECT_EQ(recentOutput(), "ld" + std::string(4090, 'a') + "\u00E9zz\u0301z");
    output(3, std::string(10000, 'b'));
    EXPECT_EQ(recentOutput(), std::string(4096, 'b'));
}

TEST_F(PromptReadinessTest, RecentOutputShowsBytesThatAreNoTextAsReplacementCharacters) {
    output(1, "a\xFF\x62\xE2");
    output(2, "\x82\xAC");
    EXPECT_EQ(recentOutput(), "a\uFFFDb\uFFFD\uFFFD\uFFFD");
}

TEST_F(PromptReadinessTest, RecentOutputCountsCharactersHoweverManyMarksTheyCarry) {
    std::string character = "a";
    for (int mark = 0; mark < 40; ++mark) {
        character += "\u0301";
    }
    std::string text;
    for (int count = 0; count < 7000; ++count) {
        text += character;
    }
    output(1, text);
    output(2, "z");
    EXPECT_EQ(recentOutput(), text.substr(0, 4095 * character.size()) + "z");
}

TEST_F(PromptReadinessTest, RecentOutputStaysBoundedInAFlood) {
    for (int chunk = 0; chunk < 100; ++chunk) {
        output(1, std::string(8191, 'x') + "\u20AC");
    }
    EXPECT_EQ(recentOutput(), std::string(4095, 'x') + "\u20AC");
}

TEST_F(PromptReadinessTest, RecentOutputIsTheSameHoweverOftenItIsAskedFor) {
    output(1, "a\xE2");
    EXPECT_EQ(recentOutput(), "a\uFFFD");
    output(2, "\x82\xAC" + std::string(200'000, 'b') + "\r\n");
    EXPECT_EQ(recentOutput(), std::string(4095, 'b') + "\r\n");
    output(3, "\xE2\x82");
    EXPECT_EQ(recentOutput(), std::string(4094, 'b') + "\r\n\uFFFD");
}

TEST_F(PromptReadinessTest, RecentOutputWithoutAnyAsciiStaysBounded) {
    for (int chunk = 0; chunk < 300; ++chunk) {
        std::string text;
        for (int count = 0; count < 1000; ++count) {
            text += "\u20AC";
        }
        output(1, text);
    }
    EXPECT_EQ(recentOutput().size(), 4096U * 3);
}

struct StartupLine {
    const char* name;
    std::string_view output;
    bool isHeldBack;
};

/// Whether output at second 1, after a sentinel, holds the prompt back.
TEST_F(PromptReadinessTest, AStartupLineIsFoundWhereverItStands) {
    const std::string far(300, 'x');
    const std::string lines[] = {
        far + "\nmodel: loading\n" + far,           far + "\u2028model: loading\u0085model: ready",
        "loading" + far + "\rmodel: ready",         far + "loading model: " + far,
        "model: ready\nStarting MCP servers" + far, "MCP startup complete\u2029model: loading"};
    const StartupLine rows[] = {
        {"between other lines", lines[0], true},        {"settled by the next line", lines[1], false},
        {"a word of the line before", lines[2], false}, {"a word in front of it", lines[3], true},
        {"servers behind the model", lines[4], true},   {"the model behind the servers", lines[5], true},
    };
    for (const StartupLine& row : rows) {
        use(PromptReadinessConfiguration::codexDefault());
        output(1, "› ");
        output(1, row.output);
        EXPECT_EQ(readyAt(3), !row.isHeldBack) << row.name;
    }
}

}  // namespace
}  // namespace quernlight
