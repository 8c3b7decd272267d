#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "standin/backend/faults.hpp"

namespace quernlight::standin {

/// What the command line asks for.
struct Options {
    std::uint16_t port = 0;
    std::string token;
    std::optional<std::string> agentToken;  ///< for the agents' own tools, which get no admin token
    std::optional<std::filesystem::path> seed;
    std::optional<std::filesystem::path> state;
    std::vector<Fault> faults;
    std::uint64_t largestBody = 0;
    bool exitWithStdin = false;
};

/// The options, or the exit status when the command line only asked for help, which has then been printed.
/// Throws std::runtime_error with one sentence for a command line that makes no sense.
std::variant<Options, int> parseOptions(int argc, const char* const* argv);

}  // namespace quernlight::standin
