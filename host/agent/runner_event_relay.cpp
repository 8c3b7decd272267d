#include "host/agent/runner_event_relay.hpp"

#include "host/agent/last_line.hpp"
#include "quernlight/runner/ansi_plain_text_converter.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t readablePart = 4096;  // of a chunk, from its end, in bytes
constexpr std::size_t wordsKept = 512;

OutputSeen seen(const RunnerEvent::Output& output) {
    const std::string text = ANSIPlainTextConverter::plain(lastPart(output.bytes, readablePart));
    return {.at = output.date,
            .lastLine = lastReadableLine(text),
            .words = std::string(lastPart(text, wordsKept))};
}

}  // namespace

Task<void> relayRunnerEvents(EventStream<RunnerEvent> events, SessionMailbox::Continuation mailbox,
                             std::shared_ptr<AgentTerminal> terminal) {
    while (const auto event = co_await events.next()) {
        if (const auto* output = event->output()) {
            terminal->write(output->bytes);
            mailbox.deliver(seen(*output));
        } else if (const auto* exited = event->exited()) {
            terminal->end(exited->exitCode);
            mailbox.deliver(AgentExited{exited->date, exited->exitCode});
        }
    }
}

}  // namespace quernlight::host
