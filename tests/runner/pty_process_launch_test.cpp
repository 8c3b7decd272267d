#include <algorithm>
#include <filesystem>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "quernlight/platform/process_table.hpp"
#include "tests/runner/pty_process_fixture.hpp"
#include "tests/support/process_state.hpp"

namespace quernlight {
namespace {

using namespace test;

/// What a child finds when it is launched, and launches that fail.
class PTYProcessLaunchTest : public PTYProcessFixture {};

/// While it lives this process can open that many descriptors more, and no other.
class FreeDescriptors {
  public:
    explicit FreeDescriptors(rlim_t count) {
        getrlimit(RLIMIT_NOFILE, &before_);
        const int highest = highestOpen();
        do {
            filling_.emplace_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));  // the lowest that is free
        } while (filling_.back().get() < highest);
        rlimit limit = before_;
        limit.rlim_cur = static_cast<rlim_t>(filling_.back().get()) + 1 + count;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    FreeDescriptors(const FreeDescriptors&) = delete;
    FreeDescriptors& operator=(const FreeDescriptors&) = delete;
    ~FreeDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

  private:
    static int highestOpen() {
        int highest = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/dev/fd")) {
            highest = std::max(highest, std::stoi(entry.path().filename().string()));
        }
        return highest;
    }

    rlimit before_{};
    std::vector<FileDescriptor> filling_;
};

TEST_F(PTYProcessLaunchTest, ACommandWithoutASlashIsLookedUpOnThePathOfTheChild) {
    writeFile(directory / "bin/codex", "#!/bin/sh\nprintf '[%s]' \"$@\"\n");
    ASSERT_EQ(::chmod((directory / "bin/codex").c_str(), 0700), 0);
    request.environment["PATH"] = (directory / "bin").string() + ":/usr/bin:/bin";
    start({"codex", "--flag with space"});
    EXPECT_EQ(log->wholeOutput(), "[--flag with space]");
}

TEST_F(PTYProcessLaunchTest, ATextWithANullCharacterIsRefusedRatherThanCut) {
    const std::string invalid = "Unable to launch Codex: Invalid argument";
    EXPECT_EQ(startFailure({"/bin/echo", std::string("one\0two", 7)}), invalid);
    request.environment["NAME"] = std::string("one\0two", 7);
    EXPECT_EQ(startFailure({"/bin/echo"}), invalid);
}

TEST_F(PTYProcessLaunchTest, ACommandThatEnvCannotFindExitsAsEnvDoes) {
    request.environment["PATH"] = directory.path();
    start({"codex"});
    EXPECT_EQ(log->exitCode(), 127);
    EXPECT_NE(log->wholeOutput().find("codex"), std::string::npos);
}

TEST_F(PTYProcessLaunchTest, ACommandWithASlashIsStartedAsItIsWithTheCommandAsItsArguments) {
    start({"/bin/sh", "-c", "printf '[%s]' \"$0\" \"$@\"", "zero", "*", "$HOME; exit"});
    EXPECT_EQ(log->wholeOutput(), "[zero][*][$HOME; exit]");
}

TEST_F(PTYProcessLaunchTest, TheChildRunsInTheRepositoryAndLeadsASessionOnItsTerminal) {
    shell("pwd -P; printf said >/dev/tty; test -t 0 && test -t 1 && test -t 2");
    EXPECT_EQ(log->exitCode(), 0);
    const std::string expected = std::filesystem::canonical(directory.path()).string() + "\r\nsaid";
    EXPECT_EQ(log->wholeOutput(), expected);
}

TEST_F(PTYProcessLaunchTest, AnEmptyLaunchCommandIsRefusedBeforeAnythingIsOpened) {
    const auto before = openDescriptorCount();
    EXPECT_EQ(startFailure({}), "Codex launch command is empty.");
    EXPECT_EQ(openDescriptorCount(), before);
    EXPECT_FALSE(process->isRunning());
}

TEST_F(PTYProcessLaunchTest, AProgramThatIsNotThereCannotBeLaunched) {
    startFailure({"/nonexistent/codex"});  // the reader queue opens descriptors of its own the first time
    const auto before = openDescriptorCount();
    EXPECT_EQ(startFailure({"/nonexistent/codex"}), "Unable to launch Codex: No such file or directory");
    EXPECT_EQ(openDescriptorCount(), before);
    EXPECT_EQ(log->kinds(), "");
    expectNotRunning([this] { write("text"); });
}

TEST_F(PTYProcessLaunchTest, ARepositoryThatIsNotThereCannotBeLaunchedIn) {
    for (const auto& path : {(directory / "missing").string(), std::string()}) {
        request.repoPath = path;
        EXPECT_EQ(startFailure({"/bin/sh"}), "Unable to launch Codex: No such file or directory") << path;
    }
}

TEST_F(PTYProcessLaunchTest, TheTerminalIsAsLargeAsTheRequestSays) {
    request.rows = 40;
    request.columns = 100;
    shell("stty size");
    EXPECT_EQ(log->wholeOutput(), "40 100\r\n");
}

TEST_F(PTYProcessLaunchTest, TheTerminalHasItsDefaultSettings) {
    shell("stty -a | tr '\\n' ' '");
    for (const auto* setting : {" isig ", " icanon ", " echo ", " icrnl ", " opost ", " onlcr "}) {
        EXPECT_NE(log->wholeOutput().find(setting), std::string::npos) << setting;
    }
}

TEST_F(PTYProcessLaunchTest, TheThreeStreamsAreOneTerminal) {
    shell("readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2; true");
    const std::string& devices = log->wholeOutput();
    const std::string device = devices.substr(0, devices.find('\n') + 1);
    EXPECT_TRUE(device.starts_with("/dev/")) << devices;
    EXPECT_EQ(devices, device + device + device);
}

TEST_F(PTYProcessLaunchTest, TheChildHasNoDescriptorButItsThreeStreams) {
    const FileDescriptor leak(::open("/dev/null", O_RDONLY));
    shell("ls -1 /proc/$$/fd; true");
    EXPECT_EQ(log->wholeOutput(), "0\r\n1\r\n2\r\n");
}

TEST_F(PTYProcessLaunchTest, TheEnvironmentOfThisProcessIsNotInherited) {
    ASSERT_EQ(::setenv("QUERNLIGHT_TEST_LEAK", "1", 1), 0);
    start({"/usr/bin/env"});
    ::unsetenv("QUERNLIGHT_TEST_LEAK");
    EXPECT_EQ(log->wholeOutput(), "PATH=/usr/bin:/bin\r\n");
}

TEST_F(PTYProcessLaunchTest, AProgramThatMayNotBeRunCannotBeLaunched) {
    writeFile(directory / "codex", "no program");
    EXPECT_EQ(startFailure({directory / "codex"}), "Unable to launch Codex: Permission denied");
}

TEST_F(PTYProcessLaunchTest, AStartThatRunsOutOfDescriptorsSaysWhereAndLeavesNothing) {
#ifdef QUERNLIGHT_UNDEFINED_SANITIZER
    GTEST_SKIP()
        << "the undefined-behaviour sanitizer opens descriptors of its own when it looks at an object";
#endif
    exitCodeOf("exit 0");  // the reader queue opens descriptors of its own the first time
    dropProcess();
    struct Row {
        const char* name;
        rlim_t free;
        const char* expected;
    };
    const Row rows[] = {
        {"no terminal", 0, "Unable to allocate PTY: Too many open files"},
        {"half a terminal", 1, "Unable to allocate PTY: Too many open files"},
        {"a terminal, and nothing to watch the child with", 2, "Unable to launch Codex: Too many open files"},
    };
    for (const Row& row : rows) {
        const auto before = openDescriptorCount();
        {
            const FreeDescriptors descriptors(row.free);
            EXPECT_EQ(startFailure({"/bin/sh", "-c", "sleep 1000"}), row.expected) << row.name;
        }
        EXPECT_EQ(openDescriptorCount(), before) << row.name;
        EXPECT_FALSE(process->isRunning()) << row.name;
        EXPECT_EQ(log->kinds(), "") << row.name;
    }
    for (const ProcessEntry& entry : processTable()) {
        EXPECT_NE(entry.parent, ::getpid()) << "a child was left";
    }
}

TEST_F(PTYProcessLaunchTest, BeforeTheStartNothingRuns) {
    process = std::make_shared<PTYProcess>(readerQueue.get_executor(), request, nullptr,
                                           [](const RunnerEvent&) { ADD_FAILURE() << "an event"; });
    EXPECT_FALSE(process->isRunning());
    EXPECT_FALSE(process->snapshot());
    expectNotRunning([this] { write("text"); });
    expectNotRunning([this] { process->resize(80, 24); });
    expectNotRunning([this] { terminate(TerminationMode::requestExitCommand); });
    terminate(TerminationMode::kill);
}

}  // namespace
}  // namespace quernlight
