#include "host/agent/session_mailbox.hpp"

#include <utility>

namespace quernlight::host {
namespace {

/// A session that has other things to do learns of a flood as of one output.
void add(OutputSeen output, OutputSeen& last) {
    last.at = output.at;
    last.words += output.words;
    if (last.words.size() > OutputSeen::mostWords) {
        last.words.erase(0, last.words.size() - OutputSeen::mostWords);
    }
    if (!output.lastLine.empty()) {
        last.lastLine = std::move(output.lastLine);
    }
}

}  // namespace

void SessionMailbox::Continuation::deliver(SessionEvent event) const {
    if (const auto state = state_.lock()) {
        auto* output = std::get_if<OutputSeen>(&event);
        auto* last = state->events.empty() ? nullptr : std::get_if<OutputSeen>(&state->events.back());
        if (output && last) {
            add(std::move(*output), *last);
        } else {
            state->events.push_back(std::move(event));
        }
        state->signal.notify();
    }
}

Task<SessionEvent> SessionMailbox::next() {
    while (true) {
        if (auto event = take()) {
            co_return std::move(*event);
        }
        co_await state_->signal.wait();
    }
}

Task<std::optional<SessionEvent>> SessionMailbox::nextUntil(Clock& clock, Clock::TimePoint deadline) {
    while (true) {
        auto event = take();
        if (event || clock.steadyNow() >= deadline) {
            co_return event;
        }
        co_await clock.waitUntil(state_->signal, deadline);
    }
}

std::optional<SessionEvent> SessionMailbox::take() {
    auto& events = state_->events;
    if (events.empty()) {
        return std::nullopt;
    }
    std::optional<SessionEvent> event(std::move(events.front()));
    events.pop_front();
    return event;
}

}  // namespace quernlight::host
