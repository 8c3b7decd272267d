#pragma once

#include <exception>

#include "host/doctor/examination.hpp"

namespace quernlight::host {

/// The backend's address, where the token comes from, and whether the backend takes it.
Task<Findings> checkBackend(const Examined& examined);

/// Whether the token store can be asked.
Task<Findings> checkTokenStore(const Examined& examined);

/// What the backend's refusal, or its silence, means.
Finding backendFinding(const Url& backend, const std::exception& error);

}  // namespace quernlight::host
