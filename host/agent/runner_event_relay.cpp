#include "host/agent/runner_event_relay.hpp"

#include <algorithm>
#include <string_view>

#include "quernlight/platform/text.hpp"
#include "quernlight/runner/ansi_plain_text_converter.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t readablePart = 4096;  // of a chunk, from its end, in bytes
constexpr std::size_t wordsKept = 512;

std::string_view lastPart(std::string_view text, std::size_t size) {
    return text.substr(text.size() - std::min(text.size(), size));
}

/// A prompt alone says nothing.
bool saysSomething(std::string_view line) {
    const std::u32string scalars = unicodeScalars(line);
    return std::any_of(scalars.begin(), scalars.end(), isAlphanumeric);
}

/// The last line with something to read in it.
std::string lastReadableLine(std::string_view text) {
    const auto lines = linesOf(text);
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        if (saysSomething(*line)) {
            return std::string(trimmed(*line));
        }
    }
    return {};
}

OutputSeen seen(const RunnerEvent::Output& output) {
    const std::string text = ANSIPlainTextConverter::plain(lastPart(output.bytes, readablePart));
    return {.at = output.date,
            .lastLine = lastReadableLine(text),
            .words = std::string(lastPart(text, wordsKept))};
}

}  // namespace

Task<void> relayRunnerEvents(EventStream<RunnerEvent> events, SessionMailbox::Continuation mailbox) {
    while (const auto event = co_await events.next()) {
        if (const auto* output = event->output()) {
            mailbox.deliver(seen(*output));
        } else if (const auto* exited = event->exited()) {
            mailbox.deliver(AgentExited{exited->date, exited->exitCode});
        }
    }
}

}  // namespace quernlight::host
