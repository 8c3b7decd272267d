#include "host/session/runner_event_relay.hpp"

#include <algorithm>
#include <string_view>

#include "quernlight/platform/text.hpp"
#include "quernlight/runner/ansi_plain_text_converter.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t readablePart = 4096;

/// The last line with something to read in it, of the chunk's last few kilobytes.
std::string lastReadableLine(std::string_view bytes) {
    const std::string text =
        ANSIPlainTextConverter::plain(bytes.substr(bytes.size() - std::min(bytes.size(), readablePart)));
    const auto lines = linesOf(text);
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        if (const auto words = trimmed(*line); !words.empty()) {
            return std::string(words);
        }
    }
    return {};
}

}  // namespace

Task<void> relayRunnerEvents(EventStream<RunnerEvent> events, SessionMailbox::Continuation mailbox) {
    while (const auto event = co_await events.next()) {
        if (const auto* output = event->output()) {
            mailbox.deliver(OutputSeen{output->date, lastReadableLine(output->bytes)});
        } else if (const auto* exited = event->exited()) {
            mailbox.deliver(AgentExited{exited->date, exited->exitCode});
        }
    }
}

}  // namespace quernlight::host
