#include "host/autostart/systemd_unit.hpp"

#include <sstream>

#include "host/process/user_error.hpp"

namespace quernlight::host {
namespace {

constexpr std::string_view logStart = "StandardOutput=append:";

/// "%" begins what systemd puts a value for.
std::string withoutSpecifiers(const std::string& text) {
    std::string escaped;
    for (const char character : text) {
        escaped += character;
        escaped += character == '%' ? "%" : "";
    }
    return escaped;
}

/// Within quotation marks.
std::string quotedText(const std::string& text) {
    std::string escaped;
    for (const char character : withoutSpecifiers(text)) {
        escaped += character == '"' || character == '\\' ? "\\" : "";
        escaped += character;
    }
    return "\"" + escaped + "\"";
}

/// A word of a command, in which "$" begins a variable.
std::string quotedArgument(const std::string& word) {
    std::string escaped;
    for (const char character : word) {
        escaped += character;
        escaped += character == '$' ? "$" : "";
    }
    return quotedText(escaped);
}

/// In the program's own place there are no variables, but a quotation mark or a backslash is refused.
std::string quotedProgram(const std::string& program) {
    if (program.find_first_of("\"'\\") != std::string::npos) {
        throw UserError("systemd starts no program whose path holds a quotation mark or a backslash: " +
                        program + "; install it elsewhere.");
    }
    return quotedText(program);
}

std::string commandLine(const UserService& service) {
    const auto words = commandOf(service);
    std::string line = quotedProgram(words.front());
    for (std::size_t index = 1; index < words.size(); ++index) {
        line += " " + quotedArgument(words[index]);
    }
    return line;
}

std::string environmentLines(const EnvironmentMap& environment) {
    std::string lines;
    for (const auto& [name, value] : environment) {
        lines += "Environment=" + quotedText(name + "=" + value) + "\n";
    }
    return lines;
}

}  // namespace

std::string systemdUnit(const UserService& service) {
    std::ostringstream unit;
    unit << "# " << serviceFileMark << R"(
[Unit]
Description=Quernlight Dispatch, which works on bugs
Documentation=man:quernlight-dispatch(1)
# No more than five starts in a quarter of an hour.
StartLimitIntervalSec=900
StartLimitBurst=5

[Service]
Type=exec
ExecStart=)"
         << commandLine(service) << "\n"
         << environmentLines(service.environment) << logStart << withoutSpecifiers(service.logFile.string())
         << R"(
StandardError=inherit
UMask=0077
# It is started again when it crashed or was killed. When it ended by itself, with status 1 or 2, its log says
# what a person must put right first: a token that is refused, no agent, settings that do not fit.
Restart=on-abnormal
RestartSec=)"
         << serviceRestartPause.count() << R"(
# It alone is told to stop, and then stops its agents politely; what is left after that time is killed.
KillMode=mixed
TimeoutStopSec=)"
         << serviceStopTimeout.count() << R"(
# An agent that is killed because memory is short is the dispatcher's matter.
OOMPolicy=continue

[Install]
WantedBy=default.target
)";
    return unit.str();
}

std::optional<std::filesystem::path> logFileInUnit(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with(logStart)) {
            continue;
        }
        std::string path;
        for (std::size_t index = logStart.size(); index < line.size(); ++index) {
            path += line[index];
            index += line.compare(index, 2, "%%") == 0 ? 1 : 0;
        }
        return path;
    }
    return std::nullopt;
}

}  // namespace quernlight::host
