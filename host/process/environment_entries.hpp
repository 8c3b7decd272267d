#pragma once

#include <string>
#include <vector>

#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// An environment as a child process gets it: "KEY=value" entries, by name.
inline std::vector<std::string> environmentEntries(const EnvironmentMap& environment) {
    std::vector<std::string> entries;
    for (const auto& [name, value] : environment) {
        entries.push_back(name + "=" + value);
    }
    return entries;
}

}  // namespace quernlight::host
