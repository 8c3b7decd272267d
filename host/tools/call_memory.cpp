#include "host/tools/call_memory.hpp"

#include <utility>

namespace quernlight::host {

Task<CallMemory::Answer> CallMemory::once(std::string key, Task<ToolResult> call) {
    const auto known = calls_.find(key);
    if (known != calls_.end()) {
        const std::shared_ptr<Call> made = known->second;
        while (!made->hasEnded) {
            const AsyncSignal ended = made->waiting.emplace_back();
            co_await ended.wait();
        }
        co_return Answer{made->result, true};
    }
    const auto mine = std::make_shared<Call>();
    calls_[key] = mine;
    underWay_.push_back(mine);
    // A call that is thrown out of, or cancelled, leaves this behind.
    const std::shared_ptr<void> atEnd(nullptr, [this, mine, &key](void*) {
        if (!mine->hasEnded) {
            end(key, *mine, {ToolOutcome::unknown, "The call was cut off."});
        }
    });
    ToolResult result = co_await std::move(call);
    end(key, *mine, result);
    co_return Answer{std::move(result), false};
}

void CallMemory::end(const std::string& key, Call& call, ToolResult result) {
    const auto known = calls_.find(key);
    if (!mayHaveChanged(result.outcome) && known != calls_.end() && known->second.get() == &call) {
        calls_.erase(known);
    }
    call.result = std::move(result);
    call.hasEnded = true;
    std::erase_if(underWay_, [&call](const auto& open) { return open.get() == &call; });
    for (const AsyncSignal& waiting : call.waiting) {
        waiting.notify();
    }
}

Task<void> CallMemory::untilNoneIsUnderWay(Clock& clock, Clock::TimePoint deadline) {
    while (isAnyUnderWay() && clock.steadyNow() < deadline) {
        const AsyncSignal ended = underWay_.front()->waiting.emplace_back();
        co_await clock.waitUntil(ended, deadline);
    }
}

void CallMemory::correct(const std::string& key, ToolResult result) {
    const auto known = calls_.find(key);
    if (known != calls_.end()) {
        known->second->result = std::move(result);
    }
}

}  // namespace quernlight::host
