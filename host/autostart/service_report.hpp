#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include <boost/json/object.hpp>

#include "host/autostart/service_manager.hpp"

namespace quernlight::host {

/// What is known of the user service.
struct ServiceReport {
    ServiceSystem system{};
    std::filesystem::path file{};
    std::optional<std::string> text{};  ///< the file's; absent when there is none
    ServiceState state{};
};

/// Whether its file is there, and ours.
bool isInstalled(const ServiceReport& report);

/// That there is no manager to be asked, and why; the beginning of a sentence.
std::string withoutManager(const ServiceReport& report);

std::string serviceText(const ServiceReport& report);

/// Null where something is not known.
boost::json::object serviceJson(const ServiceReport& report);

}  // namespace quernlight::host
