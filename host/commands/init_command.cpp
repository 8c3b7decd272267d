#include <iostream>
#include <memory>
#include <set>

#include <CLI/CLI.hpp>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "host/agent/instruction_files.hpp"
#include "host/commands/command_line.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/process/dispatch_home.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;

struct InitOptions {
    ChosenHome home{};
    bool json = false;
};

struct Instruction {
    fs::path file;
    const char* purpose;
    bool isNew = false;
};

struct PreparedHome {
    fs::path home;
    std::vector<Instruction> instructions;
};

std::set<fs::path> filesIn(const fs::path& directory) {
    std::set<fs::path> files;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(directory, none)) {
        files.insert(entry.path());
    }
    return files;
}

PreparedHome prepared(const fs::path& home) {
    const std::set<fs::path> before = filesIn(home / "instructions");
    const InstructionFiles files = InstructionFiles::prepare(home);
    PreparedHome made{.home = home,
                      .instructions = {{files.investigation, "how to look into a bug, and when to ask"},
                                       {files.reproduction, "how to make it happen, and to show the fix"},
                                       {files.completion, "what to report in the end, and how"}}};
    for (Instruction& instruction : made.instructions) {
        instruction.isNew = !before.contains(instruction.file);
    }
    return made;
}

json::object described(const PreparedHome& made) {
    json::array instructions;
    for (const Instruction& instruction : made.instructions) {
        instructions.push_back(json::object{{"file", instruction.file.string()},
                                            {"purpose", instruction.purpose},
                                            {"new", instruction.isNew}});
    }
    return {{"home", made.home.string()}, {"instructions", std::move(instructions)}};
}

void tell(const PreparedHome& made) {
    std::cout << "The dispatch home is " << withoutControls(made.home.string())
              << ".\nEvery goal tells the agent to follow these files, which are yours to rewrite:\n";
    for (const Instruction& instruction : made.instructions) {
        std::cout << "  " << withoutControls(instruction.file.string()) << "\n      " << instruction.purpose
                  << (instruction.isNew ? "" : " (left as it was)") << "\n";
    }
    std::cout << "Next: quernlight-dispatch config set backend.url URL\n"
                 "      quernlight-dispatch token set\n"
                 "      quernlight-dispatch map set --bundle BUNDLE --app NAME --repo DIR\n"
                 "      quernlight-dispatch doctor\n"
              << std::flush;
}

/// With its queue, so that the other commands find a home there.
Task<void> init(InitOptions given) {
    HomeAccess access(given.home);
    const DispatchStore store = co_await access.forSettings(MissingHome::made);
    const PreparedHome made = prepared(locateDispatchHome(given.home));
    if (given.json) {
        std::cout << escapedJson(json::serialize(described(made))) << std::endl;
    } else {
        tell(made);
    }
}

}  // namespace

void addInitCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<InitOptions>();
    CLI::App* app = program.add_subcommand(
        "init", "Make the dispatch home, and the instructions for agents; changes nothing that is there");
    app->add_flag("--json", options->json, "As JSON: an object");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return statusOf(init(*options)); }; });
}

}  // namespace quernlight::host
