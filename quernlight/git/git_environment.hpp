#pragma once

#include <string>
#include <vector>

namespace quernlight {

/// The environment for git, made from the caller's ("KEY=value" entries). Left out is what would point git at
/// another repository than the one named by "-C", or mix trace lines into its output; configuration by which
/// a user's habits (language, colours, quoting, patterns) would change an answer is pinned, and nothing asks
/// for a password. Pure.
std::vector<std::string> gitEnvironment(std::vector<std::string> inherited);

}  // namespace quernlight
