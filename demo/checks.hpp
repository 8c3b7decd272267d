#pragma once

#include <string>
#include <vector>

#include "demo/directory.hpp"
#include "demo/samples.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::demo {

/// What one bug came to, as the database, git and the backend tell it afterwards.
struct DemoFinding {
    std::string bugID{};
    std::string outcome{};  ///< the item's status in the database, in words
    std::string branch{};   ///< on the remote; empty when there is none
    std::string transcript{};
    std::size_t transcriptLines = 0;
    double seconds = 0;                   ///< from the start of the session to its end
    std::vector<std::string> mistakes{};  ///< what is not as it should be, a sentence each
};

/// Reads everything anew, from the files and repositories themselves, and compares it with what each bug
/// should have come to. It uses none of the messages of the run.
Task<std::vector<DemoFinding>> checkDemo(const DemoDirectory& directory);

}  // namespace quernlight::demo
