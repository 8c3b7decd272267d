#include "host/commands/backend_call.hpp"

#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/process/core_dumps.hpp"
#include "host/service/home_service.hpp"
#include "host/settings/backend_address.hpp"
#include "host/settings/token_source.hpp"

namespace quernlight::host {
namespace {

Task<std::shared_ptr<const QuernlightClient>> reach(BackendChoice choice) {
    const Settings settings = co_await settingsOf(choice.home);
    const Url backend = backendAddress(
        choice.backend ? std::optional(parseBackendAddress(*choice.backend)) : std::nullopt, settings);
    TokenSource source = tokenSource(choice.tokenFile, currentEnvironmentMap(), settings);
    std::string token = co_await readToken(std::move(source), backend);
    co_return std::make_shared<const QuernlightClient>(backend, std::move(token),
                                                       std::make_shared<HttpSession>());
}

}  // namespace

void addBackendOptions(CLI::App& app, BackendChoice& choice) {
    addHomeOption(app, choice.home);
    app.add_option("--backend", choice.backend,
                   "Address of the bug backend (setting backend.url), where no dispatcher runs");
    addPathOption(app, "--token-file", choice.tokenFile,
                  "File that holds the administrator token, where no dispatcher runs");
}

std::unique_ptr<DispatchService> serviceWithBackend(const BackendChoice& choice) {
    switchOffCoreDumps();
    return serviceForHome(choice.home, [choice] { return reach(choice); });
}

}  // namespace quernlight::host
