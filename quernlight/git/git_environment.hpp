#pragma once

#include <string>
#include <vector>

namespace quernlight {

/// The environment for git, made from the caller's ("KEY=value" entries). Left out is what would point git at
/// another repository than the one named by "-C", or mix trace lines into its output; configuration by which
/// a user's habits (language, colours, quoting, patterns) would change an answer is pinned, and nothing asks
/// for a password. Pure.
std::vector<std::string> gitEnvironment(std::vector<std::string> inherited);

/// Of an environment ("KEY=value" entries) what git, its hooks and what they start need to reach
/// repositories; nothing that may hold a secret for somebody else. Pure.
std::vector<std::string> neededByGit(std::vector<std::string> environment);

}  // namespace quernlight
