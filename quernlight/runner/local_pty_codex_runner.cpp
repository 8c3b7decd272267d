#include "quernlight/runner/local_pty_codex_runner.hpp"

#include <exception>
#include <optional>
#include <utility>

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "quernlight/platform/task.hpp"
#include "quernlight/runner/prompt_readiness_monitor.hpp"
#include "quernlight/runner/runner_error.hpp"
#include "quernlight/runner/session_registry.hpp"
#include "quernlight/runner/terminal_input.hpp"

namespace quernlight {
namespace asio = boost::asio;
namespace {

/// Where one process's events go. The monitor is gone once the prompt has been typed, and with it the work of
/// feeding it.
struct EventRoute {
    std::weak_ptr<PromptReadinessMonitor> monitor;
    std::weak_ptr<SessionRegistry> registry;

    void operator()(const RunnerEvent& event) const {
        if (const auto* output = event.output()) {
            if (const auto live = monitor.lock()) {
                live->recordOutput(output->bytes, output->date);
            }
        }
        if (const auto live = registry.lock()) {
            live->dispatch(event);
        }
    }
};

/// Nobody waits for the events of a runner that is gone.
PTYProcess::RoomTest roomFor(std::weak_ptr<SessionRegistry> registry, const Uuid& sessionID,
                             std::size_t mostWaiting) {
    return [registry = std::move(registry), sessionID, mostWaiting] {
        const auto live = registry.lock();
        return !live || live->mostWaiting(sessionID) < mostWaiting;
    };
}

std::shared_ptr<PTYProcess> processOf(const std::weak_ptr<SessionRegistry>& registry, const Uuid& sessionID) {
    const auto live = registry.lock();
    return live ? live->process(sessionID) : throw RunnerError::missingSession(sessionID);
}

/// One session's initial input, as its typist knows it.
struct InitialInput {
    Uuid sessionID;
    std::string text;
    std::shared_ptr<PromptReadinessMonitor> monitor;
    std::weak_ptr<SessionRegistry> registry;
    InitialInputDelivery* delivery;  // null: typed here
};

Task<void> typeInChunks(InitialInput input) {
    asio::steady_timer rest(co_await asio::this_coro::executor);
    const auto chunks = InitialPromptSendPlan::chunks(typeableText(input.text));
    for (std::size_t index = 0; index < chunks.size(); ++index) {
        if (index > 0) {
            rest.expires_after(InitialPromptSendPlan::pauseBetweenChunks);
            co_await rest.async_wait(asio::use_awaitable);
        }
        const auto process = processOf(input.registry, input.sessionID);
        co_await process->write(chunks[index]);
    }
}

Task<void> typeWhenReady(InitialInput input) {
    co_await input.monitor->waitUntilReady(LocalPTYCodexRunner::readinessPollInterval);
    input.monitor.reset();
    if (input.delivery) {
        input.delivery->deliver(input.sessionID, std::move(input.text));
    } else {
        co_await typeInChunks(std::move(input));
    }
}

/// A failure is nobody's: the session goes on, or has said by `exited` that it does not.
Task<void> typeInitialInput(InitialInput input) {
    try {
        co_await typeWhenReady(std::move(input));
    } catch (const std::exception&) {
    }
}

}  // namespace

LocalPTYCodexRunner::LocalPTYCodexRunner() : LocalPTYCodexRunner(nullptr) {}

LocalPTYCodexRunner::LocalPTYCodexRunner(InitialInputDelivery& delivery) : LocalPTYCodexRunner(&delivery) {}

LocalPTYCodexRunner::LocalPTYCodexRunner(InitialInputDelivery* delivery)
    : delivery_(delivery), registry_(std::make_shared<SessionRegistry>()) {}

LocalPTYCodexRunner::~LocalPTYCodexRunner() {
    readerQueue_.stop();
    readerQueue_.join();
    registry_->close();
}

Task<StartSessionResponse> LocalPTYCodexRunner::startSession(StartSessionRequest request) {
    const Uuid sessionID = request.sessionID;
    const std::string initialInput = request.initialInput;
    auto monitor = std::make_shared<PromptReadinessMonitor>(currentInstant(),
                                                            PromptReadinessConfiguration::codexDefault());
    auto writer =
        std::make_shared<ANSITranscriptWriter>(request.transcriptANSIPath, request.transcriptTextPath);
    const EventRoute route{monitor, registry_};
    auto process = std::make_shared<PTYProcess>(readerQueue_.get_executor(), std::move(request),
                                                std::move(writer), route);
    if (mostWaiting_) {
        process->readOnlyWhile(roomFor(registry_, sessionID, *mostWaiting_));
    }
    const StartSessionResponse response = process->start();
    registry_->add(sessionID, std::move(process));
    if (!initialInput.empty()) {
        InitialInput input{sessionID, initialInput, std::move(monitor), registry_, delivery_};
        spawnLogged(readerQueue_.get_executor(), "typing an initial input",
                    typeInitialInput(std::move(input)));
    }
    co_return response;
}

Task<void> LocalPTYCodexRunner::sendInput(std::string data, Uuid sessionID) {
    const auto process = registry_->process(sessionID);
    co_await process->write(std::move(data));
}

Task<void> LocalPTYCodexRunner::sendKeys(std::string bytes, Uuid sessionID) {
    const auto process = registry_->process(sessionID);
    co_await process->writeKeys(std::move(bytes));
}

Task<void> LocalPTYCodexRunner::resize(Uuid sessionID, int columns, int rows) {
    registry_->process(sessionID)->resize(columns, rows);
    co_return;
}

Task<void> LocalPTYCodexRunner::terminate(Uuid sessionID, TerminationMode mode) {
    const auto process = registry_->process(sessionID);
    co_await process->terminate(mode);
}

Task<std::vector<RunnerSessionSnapshot>> LocalPTYCodexRunner::activeSessions() {
    co_return registry_->snapshots();
}

EventStream<RunnerEvent> LocalPTYCodexRunner::events(Uuid sessionID) {
    return registry_->subscribe(sessionID);
}

}  // namespace quernlight
