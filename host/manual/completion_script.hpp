#pragma once

#include <span>
#include <string>
#include <string_view>

namespace quernlight::host {

/// The shells that words are completed in.
std::span<const std::string_view> completedShells();

/// What makes that shell complete the program's command lines, by asking the program itself
/// ("__complete WORDS...", the last of them to be completed). `shell` is one of those.
std::string_view completionScript(std::string_view shell);

}  // namespace quernlight::host
