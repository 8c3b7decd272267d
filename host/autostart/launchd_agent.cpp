#include "host/autostart/launchd_agent.hpp"

#include <array>
#include <sstream>

namespace quernlight::host {
namespace {

struct Entity {
    char character;
    std::string_view text;
};

constexpr std::array entities{Entity{'&', "&amp;"}, Entity{'<', "&lt;"}, Entity{'>', "&gt;"}};

std::string escaped(const std::string& text) {
    std::string escaped;
    for (const char character : text) {
        std::string written(1, character);
        for (const Entity& entity : entities) {
            written = character == entity.character ? entity.text : written;
        }
        escaped += written;
    }
    return escaped;
}

std::string unescaped(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        Entity next{text.front(), text.substr(0, 1)};
        for (const Entity& entity : entities) {
            next = text.starts_with(entity.text) ? entity : next;
        }
        plain += next.character;
        text.remove_prefix(next.text.size());
    }
    return plain;
}

std::string stringElement(const std::string& text) {
    return "<string>" + escaped(text) + "</string>";
}

std::string arrayOf(const std::vector<std::string>& words) {
    std::string elements;
    for (const std::string& word : words) {
        elements += "        " + stringElement(word) + "\n";
    }
    return "<array>\n" + elements + "    </array>";
}

std::string dictionaryOf(const EnvironmentMap& environment) {
    std::string elements;
    for (const auto& [name, value] : environment) {
        elements += "        <key>" + escaped(name) + "</key>\n        " + stringElement(value) + "\n";
    }
    return "<dict>\n" + elements + "    </dict>";
}

std::string entry(const std::string& key, const std::string& value) {
    return "    <key>" + key + "</key>\n    " + value + "\n";
}

std::string number(std::chrono::seconds value) {
    return "<integer>" + std::to_string(value.count()) + "</integer>";
}

constexpr std::string_view logStart = "<key>StandardOutPath</key>\n    <string>";

}  // namespace

std::string launchdAgent(const UserService& service) {
    const std::string log = stringElement(service.logFile.string());
    std::ostringstream agent;
    agent << R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<!-- )" << serviceFileMark
          << " -->\n<plist version=\"1.0\">\n<dict>\n"
          << entry("Label", stringElement(serviceName(ServiceSystem::launchd)))
          << entry("ProgramArguments", arrayOf(commandOf(service)))
          << entry("EnvironmentVariables", dictionaryOf(service.environment)) << entry("StandardOutPath", log)
          << entry("StandardErrorPath", log) << entry("Umask", "<integer>63</integer>")
          << entry("RunAtLoad", "<true/>") << R"(
    <!-- It is started again when it crashed. When it ended by itself, with status 1 or 2, its log says what a
         person must put right first: a token that is refused, no agent, settings that do not fit. -->
)" << entry("KeepAlive", "<dict>\n        <key>Crashed</key>\n        <true/>\n    </dict>")
          << entry("ThrottleInterval", number(serviceRestartPause)) << R"(
    <!-- It is told to stop, and then stops its agents politely; after that time it is killed. -->
)" << entry("ExitTimeOut", number(serviceStopTimeout))
          << "</dict>\n</plist>\n";
    return agent.str();
}

std::optional<std::filesystem::path> logFileInAgent(const std::string& text) {
    const std::size_t start = text.find(logStart);
    const std::size_t begin = start + logStart.size();
    const std::size_t end = start == std::string::npos ? start : text.find("</string>", begin);
    return end == std::string::npos ? std::nullopt
                                    : std::optional<std::filesystem::path>(
                                          unescaped(std::string_view(text).substr(begin, end - begin)));
}

}  // namespace quernlight::host
