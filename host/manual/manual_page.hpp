#pragma once

#include <string>
#include <vector>

#include "host/manual/command_description.hpp"

namespace quernlight::host {

struct ManualEdition {
    std::string version;
    std::string date;  ///< like 2026-11-22
};

struct ManualPage {
    std::string fileName;  ///< "quernlight-dispatch-queue.1"
    std::string text;      ///< for roff, with the macros of man(7)
};

/// The program's page, and one for each of its commands, which tells of those beneath it, too.
std::vector<ManualPage> manualPages(const CommandDescription& program, const ManualEdition& edition);

/// The text as roff prints it, none of it taken for a request. A "-" is the one that is typed.
std::string roffText(const std::string& text);

}  // namespace quernlight::host
