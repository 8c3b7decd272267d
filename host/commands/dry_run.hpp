#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>

#include "host/intake/intake_choice.hpp"
#include "host/settings/live_settings.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight::host {

struct DryRun {
    std::filesystem::path home{};
    std::optional<Url> backend{};                      ///< absent: the setting
    std::optional<std::filesystem::path> tokenFile{};  ///< absent: see tokenSource
    SettingOverrides settings{};
};

/// Tells what a run would enqueue and start, by doing the enqueueing for real on a private copy of the queue.
/// Nothing of the home is written, also when another process owns it. Throws UserError.
Task<void> dryRun(DryRun dry, std::ostream& out);

}  // namespace quernlight::host
