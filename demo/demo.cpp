#include "demo/demo.hpp"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "demo/checks.hpp"
#include "demo/directory.hpp"
#include "demo/environment.hpp"
#include "demo/samples.hpp"
#include "demo/stand_in_backend.hpp"
#include "host/app/dispatch_program.hpp"
#include "host/process/event_loop.hpp"
#include "host/process/held_signals.hpp"
#include "host/process/home_lock.hpp"
#include "host/process/private_files.hpp"
#include "host/process/token_file.hpp"
#include "host/process/user_error.hpp"
#include "host/service/stored_operations.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::demo {
using namespace host;  // whose parts are wired here
namespace {

/// Files with secrets are for their owner only from the first byte on.
void writePrivately(const std::filesystem::path& file, const std::string& text) {
    std::ofstream stream(file, std::ios::binary);
    std::filesystem::permissions(file,
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    stream << text;
    if (!stream.flush()) {
        throw UserError("The demo cannot write " + file.string() + "; free some disk space.");
    }
}

void writeBackendFiles(const DemoDirectory& directory) {
    writePrivately(directory.tokenFile(), upperCaseText(randomUuid()));
    writePrivately(directory.agentTokenFile(), upperCaseText(randomUuid()));
    writePrivately(directory.backendSeed(), demoSeed());
}

/// The agent reaches the backend by an arrangement of its own, with a token that is not the dispatcher's.
void writeAgentFile(const DemoDirectory& directory, const Url& backend) {
    const boost::json::object access{{"backend", backend.text()},
                                     {"token", readToken(directory.agentTokenFile())}};
    writePrivately(directory.codexHome() / "standin.json", boost::json::serialize(access));
}

DispatchProgramOptions programOptions(const DemoDirectory& directory, const HomeLock& lock,
                                      const Url& backend) {
    DispatchProgramOptions options{.home = directory.dispatchHome(),
                                   .lock = &lock,
                                   .backend = backend,
                                   .tokenFile = directory.tokenFile(),
                                   .toolServer = StandInPrograms::locate().dispatcher,
                                   .environment = currentEnvironmentMap()};
    // An agent that cannot do its part here fails its bug while somebody still watches.
    options.settings = {{"sessions.max", "2"},
                        {"sessions.memory_floor_mib", "0"},
                        {"sessions.idle_timeout_seconds", "60"},
                        {"poll.comments_seconds", "0.4"}};
    options.dispatcher = {.once = true, .scope = IntakeScope::dispatchBugs};
    return options;
}

/// One demo from its first file to its checks.
class Demo {
  public:
    Demo(const DemoDirectory& directory, const HomeLock& lock, StandInPrograms programs,
         EventPublisher& events, Views& views)
        : directory_(directory),
          lock_(lock),
          programs_(std::move(programs)),
          events_(events),
          views_(views) {}

    Task<void> run() {
        co_await makeDemoRepository(directory_, programs_);
        writeBackendFiles(directory_);
        StandInBackend backend(directory_, programs_);
        co_await backend.waitUntilItListens();
        writeAgentFile(directory_, backend.url());
        co_await mapSampleApp();
        if (!stopped()) {
            co_await dispatchBugs(programOptions(directory_, lock_, backend.url()), events_, views_, stop_);
        }
        if (!stopped()) {
            findings_ = co_await checkDemo(directory_);
        }
    }

    void stop(StopLevel level) {
        stopped_ = true;
        stop_.raise(level);
    }

    bool stopped() const { return stopped_; }
    const std::vector<DemoFinding>& findings() const { return findings_; }

  private:
    Task<void> mapSampleApp() {
        OwnedStore owned = co_await openOwned(directory_.dispatchHome());
        MappingRequest request{
            .bundleID = demoBundleID, .appName = demoAppName, .repository = directory_.checkout().string()};
        AppMapping mapping = co_await checkedMapping(owned.home, std::move(request));
        co_await storeMapping(std::move(owned), std::move(mapping));
    }

    const DemoDirectory& directory_;
    const HomeLock& lock_;
    const StandInPrograms programs_;
    EventPublisher& events_;
    Views& views_;
    StopRequest stop_;
    std::vector<DemoFinding> findings_;
    bool stopped_ = false;
};

std::string secondsText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", seconds);
    return text;
}

void printRow(std::ostream& out, const std::string& bug, const std::string& outcome,
              const std::string& branch, const std::string& transcript, const std::string& seconds) {
    out << fitted(bug, 10) << fitted(outcome, 20) << fitted(branch, 18) << fitted(transcript, 14) << seconds
        << "\n";
}

/// One line per bug, and below the table every mistake that was found.
void printTable(std::ostream& out, const std::vector<DemoFinding>& findings, bool showTranscriptPaths) {
    out << "\n";
    printRow(out, "bug", "outcome", "branch", "transcript", "seconds");
    for (const DemoFinding& finding : findings) {
        printRow(out, finding.bugID, finding.outcome, finding.branch.empty() ? "-" : finding.branch,
                 std::to_string(finding.transcriptLines) + " lines", secondsText(finding.seconds));
    }
    out << "\n";
    for (const DemoFinding& finding : findings) {
        if (showTranscriptPaths) {
            out << "transcript of " << finding.bugID << ": " << finding.transcript << "\n";
        }
        for (const std::string& mistake : finding.mistakes) {
            out << "CHECK FAILED: bug " << finding.bugID << ": " << mistake << "\n";
        }
    }
}

int conclude(const std::vector<DemoFinding>& findings, const DemoDirectory& directory, bool keep) {
    printTable(std::cout, findings, keep);
    const bool right = std::all_of(findings.begin(), findings.end(),
                                   [](const DemoFinding& finding) { return finding.mistakes.empty(); });
    if (right) {
        std::cout << "All checks passed.\n";
    }
    if (!keep) {
        std::cout << "With --keep, transcripts, worktrees and database stay to be looked at.\n";
    } else {
        std::cout << "Everything is in " << directory.root().string() << "\n";
    }
    std::cout.flush();
    return right ? 0 : 1;
}

}  // namespace

int runDemo(const DemoOptions& options) {
    const StandInPrograms programs = StandInPrograms::locate();
    const HeldSignals untilCleanedUp;
    const DemoDirectory directory(options.home, options.keep);
    adoptEnvironment(demoEnvironment(currentEnvironmentMap(), directory, programs));
    protectHome(directory.dispatchHome());
    const HomeLock lock(directory.dispatchHome());
    std::cout << "Three sample bugs, between a stand-in backend and a scripted agent on this machine:\n\n"
              << std::flush;
    boost::asio::io_context io;
    EventPublisher events;
    Views views(io.get_executor(), events, {});
    Demo demo(directory, lock, programs, events, views);
    runWithSignals(io, demo.run(), [&](int count) {
        events.notice(count == 1 ? "Stopping the demo ..." : "Killing the sessions.");
        demo.stop(count == 1 ? StopLevel::stop : StopLevel::kill);
    });
    return demo.stopped() ? 130 : conclude(demo.findings(), directory, options.keep);
}

}  // namespace quernlight::demo
