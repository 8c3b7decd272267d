#include "host/agent/runner_event_relay.hpp"

#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/screen/last_line.hpp"
#include "quernlight/runner/ansi_plain_text_converter.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t readablePart = 4096;  // of the output, from its end, in bytes
constexpr std::size_t wordsKept = 512;
constexpr std::size_t mostAtOnce = std::size_t{256} << 10U;  // bytes of output

constexpr auto atOnce = std::chrono::steady_clock::time_point::min();

OutputSeen seen(const RunnerEvent::Output& output) {
    const std::string text = ANSIPlainTextConverter::plain(lastPart(output.bytes, readablePart));
    return {.at = output.date,
            .lastLine = lastReadableLine(text),
            .words = std::string(lastPart(text, wordsKept))};
}

/// The output, and behind it what else the agent has written by now; and the event after that, if one was
/// taken.
Task<std::optional<RunnerEvent>> gather(EventStream<RunnerEvent>& events, RunnerEvent::Output& output) {
    while (output.bytes.size() < mostAtOnce) {
        auto event = co_await events.nextUntil(atOnce);
        const auto* more = event ? event->output() : nullptr;
        if (!more) {
            co_return event;
        }
        output.bytes += more->bytes;
        output.date = more->date;
    }
    co_return std::nullopt;
}

}  // namespace

Task<void> relayRunnerEvents(EventStream<RunnerEvent> events, SessionMailbox::Continuation mailbox,
                             std::shared_ptr<AgentTerminal> terminal) {
    const auto executor = co_await boost::asio::this_coro::executor;
    auto event = co_await events.next();
    while (event) {
        std::optional<RunnerEvent> after;
        if (const auto* written = event->output()) {
            RunnerEvent::Output output = *written;
            after = co_await gather(events, output);
            terminal->write(output.bytes);
            mailbox.deliver(seen(output));
            co_await boost::asio::post(executor, boost::asio::use_awaitable);  // others have their turn
        } else if (const auto* exited = event->exited()) {
            terminal->end(exited->exitCode);
            mailbox.deliver(AgentExited{exited->date, exited->exitCode});
        }
        if (!after) {
            after = co_await events.next();
        }
        event = std::move(after);
    }
}

}  // namespace quernlight::host
