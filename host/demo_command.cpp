#include "host/demo_command.hpp"

#include <algorithm>
#include <fstream>
#include <iostream>

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "host/app/dispatch_program.hpp"
#include "host/demo/demo_bugs.hpp"
#include "host/demo/demo_checks.hpp"
#include "host/demo/demo_directory.hpp"
#include "host/demo/demo_environment.hpp"
#include "host/demo/demo_repository.hpp"
#include "host/demo/demo_table.hpp"
#include "host/demo/stand_in_backend.hpp"
#include "host/process/event_loop.hpp"
#include "host/process/held_signals.hpp"
#include "host/process/home_lock.hpp"
#include "host/process/private_files.hpp"
#include "host/process/token_file.hpp"
#include "host/process/user_error.hpp"
#include "host/service/stored_operations.hpp"

namespace quernlight::host {
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
                                   .adminToken = readToken(directory.tokenFile()),
                                   .environment = currentEnvironmentMap()};
    options.settings = {
        {"sessions.max", "2"}, {"sessions.memory_floor_mib", "0"}, {"poll.comments_seconds", "0.4"}};
    options.dispatcher = {.once = true, .scope = IntakeScope::dispatchBugs};
    return options;
}

/// One demo from its first file to its checks.
class Demo {
  public:
    Demo(const DemoDirectory& directory, const HomeLock& lock, StandInPrograms programs, ProgressBoard& board)
        : directory_(directory), lock_(lock), programs_(std::move(programs)), board_(board) {}

    Task<void> run() {
        co_await makeDemoRepository(directory_, programs_);
        writeBackendFiles(directory_);
        StandInBackend backend(directory_, programs_);
        co_await backend.waitUntilItListens();
        writeAgentFile(directory_, backend.url());
        co_await mapSampleApp();
        if (!stopped()) {
            co_await dispatchBugs(programOptions(directory_, lock_, backend.url()), board_, stopButton_);
        }
        if (!stopped()) {
            findings_ = co_await checkDemo(directory_);
        }
    }

    void stop() {
        stopped_ = true;
        stopButton_->press();
    }

    bool stopped() const { return stopped_; }
    const std::vector<DemoFinding>& findings() const { return findings_; }

  private:
    Task<void> mapSampleApp() {
        OwnedStore owned = co_await openOwned(directory_.dispatchHome());
        MappingRequest request{
            .bundleID = demoBundleID, .appName = demoAppName, .repository = directory_.checkout().string()};
        co_await storeMapping(std::move(owned), std::move(request));
    }

    const DemoDirectory& directory_;
    const HomeLock& lock_;
    const StandInPrograms programs_;
    ProgressBoard& board_;
    std::shared_ptr<StopButton> stopButton_ = std::make_shared<StopButton>();
    std::vector<DemoFinding> findings_;
    bool stopped_ = false;
};

int conclude(const std::vector<DemoFinding>& findings, const DemoDirectory& directory, bool keep) {
    printDemoTable(std::cout, findings, keep);
    const bool right = std::all_of(findings.begin(), findings.end(),
                                   [](const DemoFinding& finding) { return finding.mistakes.empty(); });
    if (right) {
        std::cout << "The database, git and the backend hold what they should.\n";
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

int demoCommand(const DemoOptions& options) {
    const StandInPrograms programs = StandInPrograms::locate();
    const HeldSignals untilCleanedUp;
    const DemoDirectory directory(options.home, options.keep);
    adoptEnvironment(demoEnvironment(currentEnvironmentMap(), directory, programs));
    protectHome(directory.dispatchHome());
    const HomeLock lock(directory.dispatchHome());
    std::cout
        << "Three bugs on their road, between a stand-in backend and a scripted agent on this machine:\n\n"
        << std::flush;
    boost::asio::io_context io;
    const auto board = makeBoard(io.get_executor(), {.history = false});
    Demo demo(directory, lock, programs, *board);
    runWithSignals(io, demo.run(), [&](int count) {
        board->note(count == 1 ? "Stopping the demo ..." : "Killing the sessions.");
        demo.stop();
    });
    return demo.stopped() ? 130 : conclude(demo.findings(), directory, options.keep);
}

}  // namespace quernlight::host
