#pragma once

#include <optional>
#include <string>

#include "host/settings/settings.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight::host {

/// Throws UserError when the text is no http or https address.
Url parseBackendAddress(const std::string& text);

/// The one that was given, else the setting. Throws UserError when there is neither.
Url backendAddress(const std::optional<Url>& given, const Settings& settings);

}  // namespace quernlight::host
