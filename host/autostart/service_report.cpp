#include "host/autostart/service_report.hpp"

#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

std::optional<std::filesystem::path> logOf(const ServiceReport& report) {
    return isInstalled(report) ? logFileIn(report.system, *report.text) : std::nullopt;
}

std::string yesOrNo(bool isSo) {
    return isSo ? "yes" : "no";
}

std::string runningText(const ServiceState& state) {
    return yesOrNo(state.isRunning) + (state.process ? ", process " + std::to_string(*state.process) : "") +
           (state.lastEnd ? ", ended with " + withoutControls(*state.lastEnd) : "");
}

template <class Value>
json::value orNull(const std::optional<Value>& value) {
    return value ? json::value(*value) : json::value();
}

}  // namespace

bool isInstalled(const ServiceReport& report) {
    return report.text && isOurs(*report.text);
}

std::string withoutManager(const ServiceReport& report) {
    const bool isSystemd = report.system == ServiceSystem::systemd;
    return std::string("There is no ") + (isSystemd ? "systemd user manager" : "launchd") +
           " to be asked here (" + report.state.noManager.value_or("") + ")";
}

std::string serviceText(const ServiceReport& report) {
    const bool isForeign = report.text && !isInstalled(report);
    std::string text =
        "installed  " +
        (isForeign ? "no; the file there was not made by this program" : yesOrNo(isInstalled(report))) +
        "\nfile       " + withoutControls(report.file.string()) + "\n";
    if (report.state.noManager) {
        text += withoutManager(report) + ", so it is not known whether it runs.\n";
    } else {
        text += "enabled    " + yesOrNo(report.state.isEnabled) + "\nrunning    " +
                runningText(report.state) + "\n";
    }
    const auto log = logOf(report);
    return text + (log ? "log        " + withoutControls(log->string()) + "\n" : "");
}

json::object serviceJson(const ServiceReport& report) {
    const ServiceState& state = report.state;
    const auto log = logOf(report);
    const bool isKnown = !state.noManager;
    return {{"installed", isInstalled(report)},
            {"file", report.file.string()},
            {"enabled", isKnown ? json::value(state.isEnabled) : json::value()},
            {"running", isKnown ? json::value(state.isRunning) : json::value()},
            {"process", orNull(state.process)},
            {"last_end", orNull(state.lastEnd)},
            {"log", log ? json::value(log->string()) : json::value()},
            {"no_manager", orNull(state.noManager)}};
}

}  // namespace quernlight::host
