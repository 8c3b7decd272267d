#pragma once

#include <string>
#include <vector>

namespace quernlight {

/// Of an environment ("KEY=value" entries) what git, its hooks and what they start need to reach
/// repositories; nothing that may hold a secret for somebody else. Pure.
std::vector<std::string> neededByGit(std::vector<std::string> environment);

}  // namespace quernlight
