#include <memory>

#include <CLI/CLI.hpp>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/command_output.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/doctor/examination.hpp"
#include "host/process/core_dumps.hpp"
#include "host/process/dispatch_home.hpp"
#include "host/settings/backend_address.hpp"
#include "host/text/failure_sentence.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/process_table.hpp"
#include "quernlight/storage/file_locations.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

struct DoctorOptions {
    ChosenHome home{};
    std::optional<std::string> backend{};
    std::optional<std::filesystem::path> tokenFile{};
    bool json = false;
};

/// What is stored in the home, as far as it can be read.
Task<void> addStored(Examined& examined, ChosenHome home) {
    if (!std::filesystem::exists(FileLocations::databaseURL(examined.home))) {
        co_return;
    }
    try {
        examined.settings = co_await settingsOf(home);
        const auto service = serviceFor(home);
        examined.mappings = co_await service->mappings();
    } catch (const boost::system::system_error&) {
        throw;  // the program ends
    } catch (const std::exception& error) {
        examined.storeTrouble = failureSentence(error);
    }
}

Task<Findings> look(DoctorOptions given) {
    Examined examined{.home = locateDispatchHome(given.home),
                      .tokenFile = given.tokenFile,
                      .environment = currentEnvironmentMap(),
                      .program = programLocation()};
    if (given.backend) {
        examined.backend = parseBackendAddress(*given.backend);
    }
    co_await addStored(examined, given.home);
    co_return co_await examine(std::move(examined));
}

json::array shown(const Findings& findings) {
    json::array all;
    for (const Finding& finding : findings) {
        all.push_back(json::object{
            {"check", finding.check},
            {"verdict", nameOf(finding.verdict)},
            {"seen", finding.seen},
            {"advice", finding.advice.empty() ? json::value(nullptr) : json::value(finding.advice)}});
    }
    return all;
}

Table tableOf(const Findings& findings) {
    Table table({"", "CHECK", flexible("SEEN")});
    for (const Finding& finding : findings) {
        const CellEmphasis style =
            finding.verdict == Verdict::ok ? CellEmphasis::normal : CellEmphasis::attention;
        table.add({{std::string(nameOf(finding.verdict)), style}, finding.check, finding.seen});
    }
    return table;
}

/// Of all that is not well, whole, since a line of the table may be cut.
std::string adviceOn(const Findings& findings) {
    std::string text;
    for (const Finding& finding : findings) {
        if (finding.verdict != Verdict::ok) {
            text += "\n" + std::string(nameOf(finding.verdict)) + ": " + withoutControls(finding.check) +
                    ": " + withoutControls(finding.seen) + "\n";
            text += finding.advice.empty() ? "" : "  " + withoutControls(finding.advice) + "\n";
        }
    }
    return text;
}

Task<void> examineAndTell(DoctorOptions given, bool& stops) {
    const Findings findings = co_await look(given);
    stops = stopsTheRoad(findings);
    CommandOutput output;
    if (given.json) {
        output.printJson(shown(findings));
    } else {
        output.print(tableOf(findings));
        output.print(adviceOn(findings));
    }
}

int doctor(const DoctorOptions& given) {
    switchOffCoreDumps();
    bool stops = false;
    const int status = statusOf(examineAndTell(given, stops));
    return status != 0 ? status : stops ? 1 : 0;
}

}  // namespace

void addDoctorCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<DoctorOptions>();
    CLI::App* app = program.add_subcommand(
        "doctor", "Check all that a run needs; changes nothing; status 1 if something would stop it");
    app->add_option("--backend", options->backend, "Address of the bug backend (setting backend.url)");
    addPathOption(
        *app, "--token-file", options->tokenFile,
        "File that holds the administrator token (setting backend.token_file; else the token store)");
    app->add_flag("--json", options->json, "As JSON: an array");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen] { chosen = [options] { return doctor(*options); }; });
}

}  // namespace quernlight::host
