#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_hash.hpp>

namespace quernlight {

/// Identifies queue items, runner sessions, attempts, comments and apps (RFC 4122). The functions below may
/// be called from any thread.
using Uuid = boost::uuids::uuid;

/// A random UUID (version 4) from the operating system's generator.
Uuid randomUuid();

/// Canonical text, 36 characters in upper case: as stored, sent and used in paths.
std::string upperCaseText(const Uuid& uuid);

/// Canonical text, 36 characters in lower case: as goals show it to the agent.
std::string lowerCaseText(const Uuid& uuid);

/// Reads the canonical form only (8-4-4-4-12 hexadecimal digits with dashes), in any case; nothing for any
/// other text.
std::optional<Uuid> parseUuid(std::string_view text);

}  // namespace quernlight
