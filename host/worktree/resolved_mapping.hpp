#pragma once

#include <string>

#include "quernlight/queue/mapping_repository.hpp"

namespace quernlight::host {

/// The path as git prints it: standardised, with symbolic links resolved as far as it exists. What cannot be
/// resolved stays as it is.
std::string resolvedPath(const std::string& path);

/// The mapping with resolved paths and a worktree root. Git registers a worktree by its resolved path and
/// would not be recognised by another (on macOS /tmp and /var lead through links).
AppMapping resolved(AppMapping mapping);

}  // namespace quernlight::host
