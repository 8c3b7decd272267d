#pragma once

#include <filesystem>

namespace quernlight::host {

/// The three files that a goal tells the agent to follow. They belong to the user, who may rewrite them.
struct InstructionFiles {
    std::filesystem::path investigation;
    std::filesystem::path reproduction;
    std::filesystem::path completion;

    /// Those under "instructions" in the dispatch home; a missing one is written with its default text, one
    /// that is there is left as it is. Throws UserError.
    static InstructionFiles prepare(const std::filesystem::path& home);
};

}  // namespace quernlight::host
