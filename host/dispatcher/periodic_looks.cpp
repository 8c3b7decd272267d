#include "host/dispatcher/periodic_looks.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::seconds interval{1};

}  // namespace

Task<void> PeriodicLooks::run() {
    while (true) {
        co_await lookAround();
        co_await services_.clock.sleepFor(interval);
    }
}

Task<void> PeriodicLooks::lookAround() {
    orphans_.look();
    endIfTokenIsRefused(context_);
    home_.lookForHome();
    co_await runRound(context_, home_.tryWriting());
    co_await runRound(context_, refreshSettings());
    context_.changed.notify();
}

Task<void> PeriodicLooks::refreshSettings() {
    const SettingsRefresh stored = co_await settings_.refresh();
    for (const std::string& change : stored.changes) {
        services_.events.publish(SettingChanged{change});
    }
    for (const std::string& trouble : stored.troubles) {
        services_.events.noticeOnce(trouble);
    }
}

Task<void> PeriodicLooks::watchClocks() {
    while (true) {
        services_.runningTime.look(readClocks(services_.clock));
        co_await services_.clock.sleepFor(interval);
    }
}

}  // namespace quernlight::host
