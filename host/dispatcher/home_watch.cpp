#include "host/dispatcher/home_watch.hpp"

#include "host/health/disk_probe.hpp"
#include "host/process/user_error.hpp"

namespace quernlight::host {
namespace {

std::string describeLostHome(const std::filesystem::path& home) {
    return "The dispatch home " + home.string() +
           " was removed, moved or replaced while this dispatcher runs. Sessions that run go on, but nothing new "
           "begins. Put it back as it was, or stop this dispatcher and start it again.";
}

}  // namespace

void HomeWatch::lookForHome() {
    const std::string trouble = services_.homeIsInPlace() ? "" : describeLostHome(services_.home);
    if (!trouble.empty() && context_.once) {
        return context_.endProgram(std::make_exception_ptr(UserError(trouble)));
    }
    services_.events.alert({AlertTopic::home}, trouble);
    if (isAway_ && trouble.empty()) {
        services_.events.notice("The dispatch home is back in its place.");
    }
    isAway_ = !trouble.empty();
}

Task<void> HomeWatch::tryWriting() {
    if (!services_.homeIsInPlace() || !services_.disk.isTrialDue()) {
        co_return;
    }
    const bool isWritable = co_await canBeWritten(services_.store, services_.background, services_.home,
                                                  services_.disk.unwritten());
    if (isWritable) {
        services_.disk.recovered();
        context_.changed.notify();
    }
}

}  // namespace quernlight::host
