#include <cstdio>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <malloc.h>
#include <sys/resource.h>

#include "bench/awaited.hpp"
#include "bench/comparison.hpp"
#include "bench/reference/terminal.h"
#include "bench/temporary_directory.hpp"
#include "bench/terminal_output.hpp"
#include "quernlight/runner/local_pty_codex_runner.hpp"

namespace quernlight::bench {
namespace {

using Output = const std::string& (*)();

constexpr std::size_t printedBytes = 32 * 1024 * 1024;
constexpr double bytesOfGiB = 1024.0 * 1024 * 1024;

void check(bool good, const char* what) {
    if (!good) {
        throw std::runtime_error(what);
    }
}

/// A file of terminal output, and the command that prints it.
class PrintedFile {
  public:
    explicit PrintedFile(Output output) {
        std::ofstream(path_, std::ios::binary).write(output().data(), printedBytes);
    }

    std::vector<std::string> command() const { return {"/bin/cat", path_}; }

  private:
    TemporaryDirectory directory_;
    std::string path_ = (directory_.path() / "output").string();
};

/// For C.
std::vector<char*> pointersTo(std::vector<std::string>& arguments) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

long readTerminal(std::vector<std::string> command) {
    return reference_read_terminal(pointersTo(command).data());
}

double processorSeconds() {
    rusage used{};
    ::getrusage(RUSAGE_SELF, &used);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

/// Of the heap; not by what lies in memory, since earlier rounds have left free memory there.
double allocatedBytes() {
    const struct mallinfo2 heap = ::mallinfo2();
    return static_cast<double>(heap.uordblks) + static_cast<double>(heap.hblkhd);
}

/// Runs sessions whose transcripts lie in a directory of its own.
class Sessions {
  public:
    /// The session's output, in bytes, once it is over.
    std::size_t run(const std::vector<std::string>& command) { return awaited(output(request(command))); }

    Task<void> start(std::vector<std::string> command) {
        const StartSessionRequest session = request(std::move(command));
        co_await runner_.startSession(session);
    }

    EventStream<RunnerEvent> listenTo(const StartSessionRequest& session) {
        return runner_.events(session.sessionID);
    }

    /// With an initial input, so that the prompt is waited for.
    StartSessionRequest request(std::vector<std::string> command) const {
        const Uuid sessionID = randomUuid();
        const std::string name = lowerCaseText(sessionID);
        return {.sessionID = sessionID,
                .repoPath = directory_.path(),
                .launchCommand = std::move(command),
                .initialInput = "fix it",
                .transcriptANSIPath = directory_.path() / (name + ".ansi"),
                .transcriptTextPath = directory_.path() / (name + ".txt")};
    }

    Task<std::size_t> output(StartSessionRequest session) {
        EventStream<RunnerEvent> events = runner_.events(session.sessionID);
        co_await runner_.startSession(session);
        std::size_t bytes = 0;
        std::optional<RunnerEvent> event = co_await events.next();
        while (event) {
            bytes += event->output() ? event->output()->bytes.size() : 0;
            event = co_await events.next();
        }
        std::filesystem::remove(session.transcriptANSIPath);
        std::filesystem::remove(session.transcriptTextPath);
        co_return bytes;
    }

  private:
    TemporaryDirectory directory_;
    LocalPTYCodexRunner runner_;
};

Benchmark bareReader(Output output) {
    return [output](benchmark::State& state) {
        const PrintedFile file(output);
        for ([[maybe_unused]] auto round : state) {
            check(readTerminal(file.command()) > 0, "The bare reader failed.");
        }
    };
}

Benchmark script(Output output) {
    return [output](benchmark::State& state) {
        const PrintedFile file(output);
        const TemporaryDirectory directory;
        std::vector<std::string> command{"script", "-q", "-c", file.command()[0] + " " + file.command()[1],
                                         directory.path() / "typescript"};
        for ([[maybe_unused]] auto round : state) {
            check(reference_run(pointersTo(command).data()) == 0, "script failed.");
        }
    };
}

Benchmark record(Output output) {
    return [output](benchmark::State& state) {
        const PrintedFile file(output);
        Sessions sessions;
        for ([[maybe_unused]] auto round : state) {
            check(sessions.run(file.command()) >= printedBytes, "Output is missing.");
        }
    };
}

/// How long this process computes for each GiB of output, with what the kernel does for it.
template <class Run>
void reportProcessorTime(benchmark::State& state, Run run) {
    const double before = processorSeconds();
    for ([[maybe_unused]] auto round : state) {
        run();
    }
    const double printed = static_cast<double>(printedBytes) * static_cast<double>(state.iterations());
    reportAmount(state, (processorSeconds() - before) * bytesOfGiB / printed);
}

void processorTimeOfReader(benchmark::State& state) {
    const PrintedFile file(&plainOutput);
    reportProcessorTime(state, [&] { readTerminal(file.command()); });
}

void processorTimeOfRecording(benchmark::State& state) {
    const PrintedFile file(&plainOutput);
    Sessions sessions;
    reportProcessorTime(state, [&] { sessions.run(file.command()); });
}

void bareStart(benchmark::State& state) {
    for ([[maybe_unused]] auto round : state) {
        check(readTerminal({"/bin/true"}) >= 0, "The bare reader failed.");
    }
}

void start(benchmark::State& state) {
    Sessions sessions;
    for ([[maybe_unused]] auto round : state) {
        sessions.run({"/bin/true"});
    }
}

void idlePane(benchmark::State& state) {
    for ([[maybe_unused]] auto round : state) {
        FILE* answer = ::popen(PROJECT_ROOT "/bench/reference/tmux_idle_pane", "r");
        check(answer != nullptr, "tmux could not be started.");
        double bytes = 0;
        check(std::fscanf(answer, "%lf", &bytes) == 1, "tmux told nothing.");
        ::pclose(answer);
        reportAmount(state, bytes / 1024);
    }
}

Task<void> startMany(Sessions& sessions, int count) {
    for (int started = 0; started < count; ++started) {
        std::vector<std::string> command(2, "600");
        command.front() = "/bin/sleep";
        co_await sessions.start(std::move(command));
    }
}

void idleSession(benchmark::State& state) {
    for ([[maybe_unused]] auto round : state) {
        constexpr int count = 50;
        Sessions sessions;
        awaited(startMany(sessions, 10));
        const double before = allocatedBytes();
        awaited(startMany(sessions, count));
        reportAmount(state, (allocatedBytes() - before) / count / 1024);
    }
}

constexpr std::size_t silentListeners = 8;

/// What a session's listeners hold that never read, for each byte that was printed.
void unreadOutput(benchmark::State& state) {
    const PrintedFile file(&plainOutput);
    for ([[maybe_unused]] auto round : state) {
        Sessions sessions;
        const StartSessionRequest session = sessions.request(file.command());
        std::vector<EventStream<RunnerEvent>> listeners;
        const double before = allocatedBytes();
        for (std::size_t count = 0; count < silentListeners; ++count) {
            listeners.push_back(sessions.listenTo(session));
        }
        awaited(sessions.output(session));
        reportAmount(state, (allocatedBytes() - before) / static_cast<double>(printedBytes));
    }
}

void printedOutput(benchmark::State& state) {
    for ([[maybe_unused]] auto round : state) {
        reportAmount(state, 1);
    }
}

}  // namespace

void addSessionRows(Table& table) {
    struct Kind {
        const char* name;
        Output output;
        double scriptBar;
    };
    for (const auto& [name, output, scriptBar] :
         {Kind{"screen", &screenOutput, 1.4}, Kind{"plain text", &plainOutput, 1.8}}) {
        const std::string what = std::string("record a terminal, ") + name;
        table.add({.what = what + ", bare", .reference = "bare reader of a terminal", .bar = 1.04},
                  bareReader(output), record(output));
        table.add({.what = what + ", script", .reference = "script", .bar = 1 / scriptBar}, script(output),
                  record(output));
    }
    table.add({.what = "processor time of a recording, a GiB",
               .reference = "bare reader of a terminal",
               .figure = Figure::amount,
               .bar = 1.15,
               .unit = "s"},
              processorTimeOfReader, processorTimeOfRecording);
    table.add({.what = "a session from start to end", .reference = "posix_spawn and a terminal", .bar = 0.85},
              bareStart, start);
    table.add({.what = "memory of an idle session",
               .reference = "tmux, an idle pane",
               .figure = Figure::amount,
               .bar = 1.9,
               .unit = "KiB"},
              idlePane, idleSession);
    table.add({.what = "8 listeners that never read, a byte",
               .reference = "what was printed",
               .figure = Figure::amount,
               .bar = 1.1,
               .unit = "B"},
              printedOutput, unreadOutput);
}

}  // namespace quernlight::bench
