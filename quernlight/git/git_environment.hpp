#pragma once

#include <string>
#include <vector>

namespace quernlight {

/// The environment for git and its hooks, made from the caller's ("KEY=value" entries). Of those only what
/// git needs to reach repositories is kept; what would point it at another one than "-C" names is not.
/// Configuration by which a user's habits (language, colours, quoting, patterns) would change an answer is
/// pinned, and nothing asks for a password. Pure.
std::vector<std::string> gitEnvironment(std::vector<std::string> inherited);

}  // namespace quernlight
