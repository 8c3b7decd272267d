#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include <sys/wait.h>
#include <unistd.h>

#include "quernlight/platform/process_table.hpp"
#include "tests/runner/codex_runner_fixture.hpp"
#include "tests/support/process_state.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

using namespace test;

/// Many sessions in a row, ended in every way there is.
class ManySessionsTest : public CodexRunnerFixture {
  protected:
    struct Ending {
        const char* name;
        std::optional<TerminationMode> mode;  ///< nothing: the child exits when it gets a line
        int exitCode;
    };

    void runOne(const Ending& ending) {
        EventLog log = listen();
        const pid_t pid = shell("printf ready; read word; test \"$word\" = /exit && exit 9; exit 0").pid;
        log.outputWith("ready");
        if (ending.mode) {
            terminate(*ending.mode);
        } else {
            send("\n");
        }
        log.wholeOutput();
        ASSERT_EQ(log.exitCode(), ending.exitCode) << ending.name;
        ASSERT_EQ(log.kinds(), "SOX") << ending.name;
        ASSERT_EQ(::waitpid(pid, nullptr, WNOHANG), -1) << ending.name << " left a zombie";
    }

    /// Opens the descriptors that the runner and the test keep, and none of a session's.
    void startInVain() {
        request.launchCommand = {"/nonexistent/codex"};
        EXPECT_ANY_THROW(awaitResult(runner->startSession(request)));
    }

    static std::size_t threadCount() {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}));
    }

    static std::size_t childCount() {
        const auto table = processTable();
        const auto isChild = [](const ProcessEntry& entry) { return entry.parent == getpid(); };
        return static_cast<std::size_t>(std::count_if(table.begin(), table.end(), isChild));
    }
};

TEST_F(ManySessionsTest, OfThreeHundredInARowNoDescriptorThreadOrChildIsLeft) {
    const Ending endings[] = {
        {"by itself", {}, 0},
        {"by the exit command", TerminationMode::requestExitCommand, 9},
        {"by an interrupt", TerminationMode::interrupt, 130},
        {"by a termination", TerminationMode::terminate, 143},
        {"by a kill", TerminationMode::kill, 137},
    };
    startInVain();
    const std::size_t descriptors = openDescriptorCount();
    const std::size_t threads = threadCount();
    const std::size_t children = childCount();
    for (int round = 0; round < 300; ++round) {
        ASSERT_NO_FATAL_FAILURE(runOne(endings[round % 5])) << "in round " << round;
    }
    EXPECT_TRUE(active().empty());
    EXPECT_EQ(threadCount(), threads);
    EXPECT_EQ(childCount(), children);
    // The reader queue lets go of the last session shortly after its exit was told.
    EXPECT_TRUE(eventually([&] { return openDescriptorCount() == descriptors; }));
}

#if defined(__has_feature)
constexpr bool watchesThreads = __has_feature(thread_sanitizer);
#else
constexpr bool watchesThreads = false;
#endif

constexpr std::size_t blockSize = 1 << 20;
/// A quarter of a gibibyte; less where the thread sanitizer makes every byte expensive.
constexpr int blockCount = watchesThreads ? 32 : 256;

/// A mebibyte of lines of every length, some of their characters longer than a byte.
std::string blockOfLines() {
    std::mt19937 random(20260304);
    std::uniform_int_distribution<int> letter(' ', '~');
    std::uniform_int_distribution<int> lineEnd(0, 60);
    std::string block;
    while (block.size() < blockSize - 4) {
        const int ending = lineEnd(random);
        block += ending == 0   ? "\n"
                 : ending == 1 ? "\u203A"
                               : std::string(1, static_cast<char>(letter(random)));
    }
    return block + std::string(blockSize - block.size() - 1, '.') + "\n";
}

std::string replaceLineFeeds(const std::string& text, const std::string& replacement) {
    std::string replaced;
    for (const char byte : text) {
        if (byte == '\n') {
            replaced += replacement;
        } else {
            replaced.push_back(byte);
        }
    }
    return replaced;
}

/// What is to come, block after block behind its number, compared as it comes.
class ExpectedBytes {
  public:
    ExpectedBytes(const std::string& block, const std::string& lineFeed)
        : lineFeed_(lineFeed), block_(replaceLineFeeds(block, lineFeed)) {}
    ExpectedBytes(const ExpectedBytes&) = delete;
    ExpectedBytes& operator=(const ExpectedBytes&) = delete;

    /// False when the bytes are not the next that are expected.
    bool continuesWith(std::string_view bytes) {
        while (!bytes.empty()) {
            if (rest_.empty() && !nextBlock()) {
                return false;
            }
            const std::size_t length = std::min(bytes.size(), rest_.size());
            if (bytes.substr(0, length) != rest_.substr(0, length)) {
                return false;
            }
            bytes.remove_prefix(length);
            rest_.remove_prefix(length);
        }
        return true;
    }

    bool hasAllCome() const { return blocks_ == blockCount && rest_.empty(); }

  private:
    bool nextBlock() {
        if (blocks_ == blockCount) {
            return false;
        }
        current_ = "block " + std::to_string(blocks_++) + lineFeed_ + block_;
        rest_ = current_;
        return true;
    }

    std::string lineFeed_;
    std::string block_;
    int blocks_ = 0;
    std::string current_;
    std::string_view rest_;
};

class LargeOutputTest : public CodexRunnerFixture {
  protected:
    LargeOutputTest() { writeFile(directory / "block", block_); }

    /// Waits for each event by itself, since all of them take as long as the machine needs.
    static bool listenerHears(EventStream<RunnerEvent>& stream, ExpectedBytes& expected) {
        while (const auto event = awaitResult(stream.next())) {
            if (event->output() && !expected.continuesWith(event->output()->bytes)) {
                return false;
            }
        }
        return expected.hasAllCome();
    }

    static bool fileHolds(const std::filesystem::path& path, const std::string& block,
                          const std::string& lineFeed) {
        ExpectedBytes expected(block, lineFeed);
        std::ifstream file(path, std::ios::binary);
        std::string piece(blockSize, '\0');
        while (file.read(piece.data(), static_cast<std::streamsize>(piece.size())), file.gcount() > 0) {
            piece.resize(static_cast<std::size_t>(file.gcount()));
            if (!expected.continuesWith(piece)) {
                return false;
            }
        }
        return expected.hasAllCome();
    }

    const std::string block_ = blockOfLines();
};

TEST_F(LargeOutputTest, EveryByteReachesListenersAndBothTranscriptsInOrder) {
    // The terminal makes carriage return and line feed of a line feed, and the readable text two line feeds.
    auto stream = runner->events(sessionID);
    ExpectedBytes heard(block_, "\r\n");
    shell("i=0; while test $i -lt " + std::to_string(blockCount) +
          "; do echo block $i; cat block; i=$((i+1)); done");
    EXPECT_TRUE(listenerHears(stream, heard));
    EXPECT_TRUE(fileHolds(request.transcriptANSIPath, block_, "\r\n"));
    EXPECT_TRUE(fileHolds(request.transcriptTextPath, block_, "\n\n"));
}

}  // namespace
}  // namespace quernlight
