#include <fstream>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/command_tree.hpp"
#include "host/commands/path_option.hpp"
#include "host/manual/manual_page.hpp"
#include "host/process/user_error.hpp"

namespace quernlight::host {
namespace {

struct ManOptions {
    std::filesystem::path directory{};
    ManualEdition edition{.version = QUERNLIGHT_VERSION, .date = {}};
};

int writePages(const CommandDescription& program, const ManOptions& given) {
    std::error_code error;
    std::filesystem::create_directories(given.directory, error);
    for (const ManualPage& page : manualPages(program, given.edition)) {
        std::ofstream file(given.directory / page.fileName);
        file << page.text << std::flush;
        if (!file) {
            throw UserError("The manual page " + (given.directory / page.fileName).string() +
                            " cannot be written.");
        }
    }
    return 0;
}

}  // namespace

void addManCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<ManOptions>();
    CLI::App* man = program.add_subcommand("man", "Write the manual pages; for whoever packs the program");
    man->group("");
    addPathOption(*man, "--to", options->directory, "Directory for the pages")->required();
    man->add_option("--date", options->edition.date, "Date of the pages, like 2026-11-22")->required();
    man->callback([options, &program, &chosen] {
        chosen = [options, &program] { return writePages(descriptionOf(program), *options); };
    });
}

}  // namespace quernlight::host
