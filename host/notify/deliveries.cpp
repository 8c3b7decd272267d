#include "host/notify/deliveries.hpp"

#include <utility>

#include "host/process/environment_entries.hpp"
#include "quernlight/platform/child_process.hpp"
#include "quernlight/platform/spawn.hpp"

namespace quernlight::host {
namespace {

/// What env(1) ends with when it finds no such program, or none that may be run.
constexpr int notRunnable = 126;
constexpr int notFound = 127;

std::string describeExit(const std::string& program, int exitCode) {
    if (exitCode > 128) {
        return program + " was ended by " + signalName(exitCode - 128) + ".";
    }
    const std::string status = program + " ended with status " + std::to_string(exitCode);
    if (exitCode == notFound || exitCode == notRunnable) {
        return status + (exitCode == notFound ? "; is it on PATH?" : "; may it be run?");
    }
    return status + ".";
}

}  // namespace

Task<void> giveToCommand(std::vector<std::string> command, EnvironmentMap environment, std::string line) {
    const std::string program = command.front();
    ChildProcessRequest request;
    request.executable = "/usr/bin/env";
    request.arguments = std::move(command);
    request.environment = environmentEntries(environment);
    request.dropsOutput = true;
    request.input = std::move(line);
    const ChildProcessResult result = co_await runChildProcess(std::move(request));
    if (result.exitCode != 0) {
        throw DeliveryFailed(describeExit(program, result.exitCode));
    }
}

Task<void> postTo(Url webhook, std::string line, HttpSession& http) {
    HttpRequest request;
    request.method = "POST";
    request.url = std::move(webhook);
    request.headers.push_back({.name = "Content-Type", .value = "application/json"});
    request.body = std::move(line);
    const HttpResponse response = co_await http.send(std::move(request));
    if (response.status < 200 || response.status > 299) {
        throw DeliveryFailed("The server answered with status " + std::to_string(response.status) + ".");
    }
}

}  // namespace quernlight::host
