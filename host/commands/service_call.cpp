#include "host/commands/service_call.hpp"

#include <iostream>

#include <unistd.h>

#include "host/process/dispatch_home.hpp"
#include "host/process/event_loop.hpp"
#include "host/service/home_service.hpp"
#include "quernlight/platform/text.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {

std::unique_ptr<DispatchService> serviceFor(const ChosenHome& home) {
    return serviceForHome(home);
}

Task<Settings> settingsOf(ChosenHome home) {
    Settings settings;
    if (!std::filesystem::exists(FileLocations::databaseURL(locateDispatchHome(home)))) {
        co_return settings;
    }
    const auto service = serviceFor(home);
    for (const SettingValue& value : (co_await service->settings()).values) {
        if (value.isSet) {
            assignSetting(settings, settingDescription(value.key), value.text);
        }
    }
    co_return settings;
}

int statusOf(Task<void> work) {
    boost::asio::io_context io;
    return runUnlessInterrupted(io, std::move(work)) ? 130 : 0;
}

bool canAsk() {
    return isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
}

bool confirmed(const std::string& question) {
    std::cout << question << " [y/N] " << std::flush;
    std::string line;
    std::getline(std::cin, line);
    const std::string answer = lowercased(trimmed(line));
    return answer == "y" || answer == "yes";
}

}  // namespace quernlight::host
