#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/settings/settings.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight::host {

/// Throws UserError when the text is not an http or https URL with a host and a port that there is, holds a
/// query or a fragment, since paths are added to it, or a user name or password: an address is stored, shown
/// and told to agents.
Url parseBackendAddress(const std::string& text);

/// Whether the address, or what is meant to be one, holds a user name or password.
bool holdsCredentials(std::string_view address);

/// What is said of one that does, without repeating it.
inline constexpr const char* credentialsRefusal =
    "The backend's address (setting backend.url, option --backend) must not hold a user name or password, since it "
    "is stored, shown and told to agents; give it without, and the token in the token file.";

/// Throws UserError when the text is not an http or https URL with a host and a port that there is, or holds
/// a user name or password, since settings are shown.
Url parseWebhookAddress(const std::string& text);

/// The one that was given, else the setting. Throws UserError when there is neither.
Url backendAddress(const std::optional<Url>& given, const Settings& settings);

}  // namespace quernlight::host
