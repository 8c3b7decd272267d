#pragma once

#include <memory>

#include "host/service/dispatch_service.hpp"
#include "host/service/store_access.hpp"

namespace quernlight::host {

/// The service for a home. What it takes to open the home is found out by its operations.
std::unique_ptr<DispatchService> serviceFor(const ChosenHome& home);

/// The settings of a home; the defaults where there is none yet.
Task<Settings> settingsOf(ChosenHome home);

/// Runs a command's work to its end; a signal cancels it. Returns the exit status, throws what it threw.
int statusOf(Task<void> work);

/// Whether somebody is there to be asked.
bool canAsk();

/// Asks on the terminal and waits for a line; only "y" or "yes" is a yes. Blocks, and a signal ends the
/// program meanwhile as if it had no handler, so it is asked outside of the event loop and between two
/// changes.
bool confirmed(const std::string& question);

}  // namespace quernlight::host
