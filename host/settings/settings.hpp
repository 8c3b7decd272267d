#pragma once

#include <string>
#include <vector>

namespace quernlight::host {

/// What a person can set about the program, with the defaults in place. Ranges and meanings stand in
/// `settingDescriptions`, from which everything else is made: checking, listing, documentation.
struct Settings {
    std::string backendURL{};
    std::string backendTokenFile{};

    int maxSessions = 2;
    int memoryFloorMiB = 1024;
    double idleTimeoutSeconds = 1800;
    double postExitGraceSeconds = 120;

    bool intakeEnabled = true;
    int intakePerDay = 20;

    double pollCommentsSeconds = 5;
    double pollBugsSeconds = 30;
    double pollMergeSeconds = 300;

    std::vector<std::string> agentCommand{"codex"};
    std::vector<std::string> agentEnvironment{};
    bool agentTrust = true;
    bool agentAnswerDialogs = true;
    int terminalColumns = 120;
    int terminalRows = 40;

    double gitFetchSeconds = 900;
    double gitCommandSeconds = 900;

    bool retireEnabled = true;

    std::vector<std::string> notifyCommand{};
    std::string notifyWebhook{};

    double stopExitSeconds = 5;
    double stopEnterSeconds = 2;
    double stopInterruptSeconds = 3;
    double stopTerminateSeconds = 5;
    double stopKillSeconds = 10;

    bool operator==(const Settings&) const = default;
};

}  // namespace quernlight::host
