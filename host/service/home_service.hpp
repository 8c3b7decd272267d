#pragma once

#include <memory>

#include "host/service/dispatch_service.hpp"
#include "host/service/store_access.hpp"

namespace quernlight::host {

/// The service for a home, whoever owns it: asks the dispatcher that runs for it, and works in this process
/// where none does. While another process is about to begin or to end owning the home it tries both again for
/// a moment. `backend` is how this process reaches the backend where none runs.
std::unique_ptr<DispatchService> serviceForHome(const ChosenHome& home, BackendAccess backend = {});

}  // namespace quernlight::host
