#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>

#include "quernlight/runner/pty_process.hpp"
#include "quernlight/runner/runner_error.hpp"
#include "tests/runner/event_log.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::test {

/// One child in a real terminal, its reader queue, its transcripts and what it announced.
class PTYProcessFixture : public testing::Test {
  protected:
    PTYProcessFixture() {
        request.sessionID = randomUuid();
        request.repoPath = directory.path();
        request.environment = {{"PATH", "/usr/bin:/bin"}};
        request.transcriptANSIPath = directory / "terminal.ansi";
        request.transcriptTextPath = directory / "terminal.txt";
    }
    ~PTYProcessFixture() override {
        readerQueue.stop();
        readerQueue.join();
    }

    StartSessionResponse start(std::vector<std::string> launchCommand) {
        request.launchCommand = std::move(launchCommand);
        EventStream<RunnerEvent> stream;
        auto onEvent = [this, listener = stream.continuation()](const RunnerEvent& event) {
            listener.deliver(event);
            onEveryEvent();
            if (event.exited()) {
                listener.finish();
            }
        };
        log.emplace(std::move(stream));
        process = std::make_shared<PTYProcess>(
            readerQueue.get_executor(), request,
            std::make_shared<ANSITranscriptWriter>(request.transcriptANSIPath, request.transcriptTextPath),
            onEvent);
        return process->start();
    }

    StartSessionResponse shell(const std::string& script) { return start({"/bin/sh", "-c", script}); }

    /// A script in a terminal that passes every byte as it is, once it has said that it is ready.
    void rawShell(const std::string& script) {
        shell("stty raw -echo; printf 'ready\\n'; " + script);
        log->outputWith("ready\n");
    }

    /// The exit code of a script.
    int exitCodeOf(const std::string& script) {
        shell(script);
        return log->exitCode();
    }

    /// The description of the error that starting the command throws.
    std::string startFailure(std::vector<std::string> launchCommand) {
        try {
            start(std::move(launchCommand));
        } catch (const PTYProcessError& error) {
            return error.what();
        }
        return "";
    }

    void expectNotRunning(const std::function<void()>& operation) {
        try {
            operation();
            ADD_FAILURE() << "nothing was thrown";
        } catch (const PTYProcessError& error) {
            EXPECT_EQ(error.kind(), PTYProcessError::Case::sessionNotRunning);
            EXPECT_STREQ(error.what(), "Session is not running.");
        }
    }

    void write(const std::string& data) { awaitResult(process->write(data)); }
    void terminate(TerminationMode mode) { awaitResult(process->terminate(mode)); }
    void join() { log->wholeOutput(); }

    /// Drops the process and waits until the reader queue has let go of it too.
    void dropProcess() {
        process.reset();
        boost::asio::post(readerQueue, boost::asio::use_future([] {})).get();
    }

    TemporaryDirectory directory;
    StartSessionRequest request;
    std::function<void()> onEveryEvent = [] {};  // set before the start; called by the event handler
    std::optional<EventLog> log;
    std::shared_ptr<PTYProcess> process;
    boost::asio::thread_pool readerQueue{1};
};

}  // namespace quernlight::test
