#include <memory>

#include <CLI/CLI.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/path_option.hpp"
#include "host/demo_command.hpp"

namespace quernlight::host {

void addDemoCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<DemoOptions>();
    CLI::App* demo =
        program.add_subcommand("demo", "Watch three bugs travel the whole road, on this machine only");
    addPathOption(*demo, "--home", options->home,
                  "Directory for all that the demo makes; default: a temporary one");
    demo->add_flag("--keep", options->keep, "Leave everything there to look at");
    demo->callback([options, &chosen] { chosen = [options] { return demoCommand(*options); }; });
}

}  // namespace quernlight::host
