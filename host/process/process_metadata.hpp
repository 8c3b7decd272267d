#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "quernlight/platform/process_table.hpp"

namespace quernlight::host {

/// What an event says of a process, so that it is known again after a restart: {"pid":N,"birth":"..."}.
std::string processMetadata(pid_t pid, const std::string& startTime);

/// Reads it back; pid and start time only. Nothing when it is no such text.
std::optional<ProcessEntry> parseProcessMetadata(std::string_view json);

}  // namespace quernlight::host
