#include "host/service/event_resource.hpp"

#include <utility>

#include "host/control/channel_sending.hpp"
#include "host/service/list_page.hpp"

namespace quernlight::host {
EventResource::EventResource(EventPublisher& events, const Clock& clock, EventRecord::Limits limits)
    : clock_(clock), record_(clock.now(), limits), recording_(events.subscribe([this](const auto& event) {
          record_.add(event, clock_.now());
          for (const AsyncSignal& follower : followers_) {
              follower.notify();
          }
      })) {}

void EventResource::offerOn(ControlRouter& router) {
    router.add("GET", "/v1/events", Audience::people,
               [this](ControlRequest request) { return respond(std::move(request)); });
}

Task<ControlResponse> EventResource::respond(ControlRequest request) {
    if (!request.wantsChannel) {
        co_return listed(request);
    }
    ControlResponse response;
    response.takeOver = [this, after = queryNumber(request, "after")](ControlChannel& channel) {
        return serve(channel, after);
    };
    co_return response;
}

ControlResponse EventResource::listed(const ControlRequest& request) const {
    const auto after = queryNumber(request, "after");
    const bool isReset = !after || !record_.holdsAllAfter(*after);
    std::uint64_t told = isReset ? record_.last() : *after;
    std::string items;
    for (std::size_t left = pageOf(request).limit; left > 0 && told < record_.last(); --left) {
        items += (items.empty() ? "" : ",") + *record_.after(told++);
    }
    return {.body = "{\"items\":[" + items + "],\"reset\":" + (isReset ? "true" : "false") +
                    ",\"last\":" + std::to_string(told) + "}"};
}

Task<void> EventResource::serve(ControlChannel& channel, std::optional<std::uint64_t> after) {
    const auto place = followers_.insert(followers_.end(), AsyncSignal());
    const std::shared_ptr<void> atEnd(nullptr, [this, place](void*) { followers_.erase(place); });
    Task<void> sending = send(channel, after, *place);
    std::string name = "telling a client of events";
    co_await sendUntilLeft(channel, std::move(name), std::move(sending));
}

/// One event at a time: what waits for a client is in the record, which is bounded.
Task<void> EventResource::send(ControlChannel& channel, std::optional<std::uint64_t> after,
                               AsyncSignal news) const {
    bool isOpen = true;
    while (isOpen) {
        const bool isReset = !after || !record_.holdsAllAfter(*after);
        if (!isReset && *after == record_.last()) {
            co_await news.wait();
            continue;
        }
        ControlFrame frame{.bytes = isReset ? resetText(record_.last()) : *record_.after(*after)};
        after = isReset ? record_.last() : *after + 1;
        isOpen = co_await channel.send(std::move(frame));
    }
}

}  // namespace quernlight::host
