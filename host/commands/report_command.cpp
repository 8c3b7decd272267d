#include <memory>

#include <CLI/CLI.hpp>

#include "host/commands/backend_call.hpp"
#include "host/commands/command_line.hpp"
#include "host/commands/command_output.hpp"
#include "host/commands/service_call.hpp"
#include "host/report/report_text.hpp"
#include "host/service/report_json.hpp"
#include "host/text/relative_time.hpp"

namespace quernlight::host {
namespace {

struct ReportOptions {
    BackendChoice backend{};
    std::string since = "12h";
    bool json = false;
};

Instant givenBeginning(const std::string& words) {
    const auto since = beginningOfPeriod(words, currentInstant(), localOffset);
    return since ? *since
                 : throw CLI::ValidationError("\"" + words +
                                              "\" is no time that has passed; give one like 12h, 30m, 2d, "
                                              "2026-11-21 or 2026-11-21T22:00");
}

Task<void> tell(DispatchService& service, Instant since, bool asJson) {
    const Report report = co_await service.report(since);
    CommandOutput output;
    if (asJson) {
        co_return output.printJson(jsonOf(report));
    }
    output.print(reportMarkdown(report, localOffset));
}

int tellReport(const ReportOptions& given) {
    const auto service = serviceWithBackend(given.backend);
    return statusOf(tell(*service, givenBeginning(given.since), given.json));
}

}  // namespace

void addReportCommand(CLI::App& program, ChosenCommand& chosen) {
    const auto options = std::make_shared<ReportOptions>();
    CLI::App* app = program.add_subcommand(
        "report", "Tell what came of the last hours' work, what needs a person first, in Markdown");
    app->add_option("--since", options->since, "From when: 12h, 30m, 2d, or a date or time of yours")
        ->capture_default_str()
        ->check([](const std::string& words) {
            givenBeginning(words);
            return std::string();
        });
    app->add_flag("--json", options->json, "As JSON: an object");
    addBackendOptions(*app, options->backend);
    app->callback([options, &chosen] { chosen = [options] { return tellReport(*options); }; });
}

}  // namespace quernlight::host
