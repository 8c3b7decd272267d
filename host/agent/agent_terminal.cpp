#include "host/agent/agent_terminal.hpp"

#include <exception>
#include <system_error>
#include <utility>

#include "quernlight/runner/runner_error.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::milliseconds redrawInterval{100};

/// The nearest size that an agent can tell from this one.
TerminalSize otherThan(TerminalSize size) {
    size.rows += size.rows < largestReadable.rows ? 1 : -1;
    return size;
}

}  // namespace

AgentTerminal::AgentTerminal(CodexRunner& runner, Clock& clock, Uuid sessionID,
                             std::shared_ptr<SessionScreen> screen, TerminalSize size)
    : runner_(runner),
      clock_(clock),
      sessionID_(sessionID),
      screen_(std::move(screen)),
      size_(size),
      given_(size) {}

void AgentTerminal::write(std::string_view bytes) {
    const std::uint64_t first = screen_->fedBytes();
    screen_->feed(bytes);
    for (Listener* listener : listeners_) {
        listener->wrote(first, bytes);
    }
}

void AgentTerminal::end(std::optional<int> exitCode) {
    if (!std::exchange(hasEnded_, true)) {
        exitCode_ = exitCode;
        tellListeners();
    }
}

void AgentTerminal::tellListeners() {
    for (Listener* listener : listeners_) {
        listener->changed();
    }
}

bool AgentTerminal::isPersonTyping() const {
    return typedAt_ && clock_.steadyNow() - *typedAt_ < untilAPersonRests;
}

Task<void> AgentTerminal::followSize() {
    while (true) {
        co_await resized_.wait();
        try {
            co_await runner_.resize(sessionID_, given_.columns, given_.rows);
        } catch (const RunnerError&) {  // it has exited, which others tell
        } catch (const PTYProcessError&) {
        }
    }
}

Task<void> AgentTerminal::keepWhole() {
    while (true) {
        co_await drawn_.wait();
        askForRedraw();
        while (redraw_.isUnderWay() && !hasEnded_) {
            co_await clock_.sleepFor(redrawInterval);
            askForRedraw();
        }
    }
}

void AgentTerminal::askForRedraw() {
    const auto picture = screen_->picture();
    const RedrawStep step = redraw_.next({.written = screen_->fedBytes(),
                                          .skipped = picture->skipped,
                                          .lacksOutput = screen_->lacksOutput(),
                                          .isAllDrawn = picture->bytes == screen_->fedBytes()},
                                         clock_.steadyNow());
    if (step == RedrawStep::isDrawn || step == RedrawStep::isRefused) {
        screen_->noteRedraw(picture->skipped, step == RedrawStep::isDrawn);
    } else if (step != RedrawStep::wait) {
        given_ = step == RedrawStep::giveOtherSize ? otherThan(size_) : size_;
        giveSize();
    }
}

void AgentTerminal::giveSize() {
    screen_->resize(given_);
    resized_.notify();
}

AgentTerminal::Subscription AgentTerminal::listen(Listener& listener) {
    const auto place = listeners_.insert(listeners_.end(), &listener);
    return {nullptr, [this, place](void*) { listeners_.erase(place); }};
}

Task<bool> AgentTerminal::type(std::string text) {
    return typed(runner_.sendInput(std::move(text), sessionID_));
}

Task<bool> AgentTerminal::typeKeys(std::string keys) {
    return typed(runner_.sendKeys(std::move(keys), sessionID_));
}

Task<bool> AgentTerminal::typed(Task<void> sending) {
    typedAt_ = clock_.steadyNow();
    try {
        co_await std::move(sending);
        co_return true;
    } catch (const RunnerError&) {
    } catch (const PTYProcessError&) {
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::operation_canceled) {
            throw;
        }
    }
    co_return false;
}

void AgentTerminal::clientSized(SizeChoice::Client client, TerminalSize size) {
    sizes_.sized(client, size);
    applySize();
}

void AgentTerminal::clientTyped(SizeChoice::Client client) {
    if (!sizes_.isSetBy(client)) {
        sizes_.typed(client);
        applySize();
    }
}

void AgentTerminal::clientLeft(SizeChoice::Client client) {
    sizes_.left(client);
    applySize();
}

/// It keeps the size that was set last once nobody is attached.
void AgentTerminal::applySize() {
    const TerminalSize wanted = readableSize(sizes_.size().value_or(size_));
    if (!hasEnded_ && wanted != size_) {
        size_ = given_ = wanted;
        giveSize();
    }
    tellListeners();
}

}  // namespace quernlight::host
