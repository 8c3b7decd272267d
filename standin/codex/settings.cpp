#include "standin/codex/settings.hpp"

#include <charconv>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

#include <boost/json.hpp>

#include "quernlight/platform/user_directories.hpp"

namespace quernlight::standin::codex {
namespace {

std::string valueOr(const EnvironmentMap& environment, const std::string& name, const std::string& fallback) {
    const auto entry = environment.find(name);
    return entry == environment.end() || entry->second.empty() ? fallback : entry->second;
}

Conducts conductsNamed(std::string_view names) {
    if (auto conducts = parseConducts(names)) {
        return std::move(*conducts);
    }
    throw std::runtime_error("There is no behaviour named '" + std::string(names) + "'.");
}

std::chrono::milliseconds milliseconds(const std::string& text) {
    int count = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    if (error != std::errc() || end != text.data() + text.size() || count < 0) {
        throw std::runtime_error("STANDIN_CODEX_DELAY_MS must be a number of milliseconds.");
    }
    return std::chrono::milliseconds(count);
}

BackendAccess parseAccess(const boost::json::object& members) {
    BackendAccess access{.url = std::string(members.at("backend").as_string()),
                         .token = std::string(members.at("token").as_string()),
                         .behaviours = {}};
    if (const boost::json::value* behaviours = members.if_contains("behaviours")) {
        for (const auto& [bugID, names] : behaviours->as_object()) {
            access.behaviours[std::string(bugID)] = conductsNamed(names.as_string());
        }
    }
    return access;
}

}  // namespace

Settings settingsFromEnvironment() {
    const EnvironmentMap environment = currentEnvironmentMap();
    const std::filesystem::path ownHome = userHomeDirectory(environment) / ".codex";
    return {.home = valueOr(environment, "CODEX_HOME", ownHome.string()),
            .conducts = conductsNamed(valueOr(environment, "STANDIN_CODEX", "")),
            .stepDelay = milliseconds(valueOr(environment, "STANDIN_CODEX_DELAY_MS", "75"))};
}

BackendAccess readBackendAccess(const std::filesystem::path& home) {
    const std::filesystem::path path = home / "standin.json";
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("There is no " + path.string() + ", so no backend to report to.");
    }
    const std::string text(std::istreambuf_iterator<char>(file), {});
    try {
        return parseAccess(boost::json::parse(text).as_object());
    } catch (const std::exception& error) {
        throw std::runtime_error(path.string() + " cannot be used: " + error.what());
    }
}

Conduct conductOn(const std::string& bugID, const Settings& settings, const BackendAccess& access) {
    for (const std::string& key : {bugID, std::string("*")}) {
        if (const auto chosen = access.behaviours.find(key); chosen != access.behaviours.end()) {
            return conductOf(chosen->second, settings.session);
        }
    }
    return conductOf(settings.conducts, settings.session);
}

Conduct conductAtStart(const std::string& bugID, const Settings& settings) {
    const bool isConfigured = std::filesystem::exists(settings.home / "standin.json");
    return conductOn(bugID, settings, isConfigured ? readBackendAccess(settings.home) : BackendAccess());
}

}  // namespace quernlight::standin::codex
