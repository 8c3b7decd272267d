#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <boost/json/object.hpp>

#include "host/service/observation_operations.hpp"
#include "host/text/table.hpp"

namespace quernlight::host {

/// How all stands, at one moment.
struct DispatchStatus {
    HealthReport health{};
    std::vector<QueueEntry> queue{};
    std::vector<RunningSession> sessions{};
    std::string agent{};  ///< its command
};

/// Whether a person has to do something: a bug needs one, or an alert holds.
bool needsPerson(const DispatchStatus& status);

/// One screen: dispatcher, backend, agents, queue, and what needs a person, with what to do. Nothing in it
/// acts on a terminal.
std::string statusText(const DispatchStatus& status, const TextRoom& room, Instant now,
                       std::chrono::seconds offset);

/// The health's members, and "agent", "sessions", and "queue": how many items each stage has.
boost::json::object jsonOf(const DispatchStatus& status);

}  // namespace quernlight::host
